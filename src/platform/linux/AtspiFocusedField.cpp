#include "platform/linux/AtspiFocusedField.h"

#include <map>
#include <set>

#include "base/async/Loop.h"
#include "base/async/Scheduler.h"
#include "platform/linux/AtspiFocusMemory.h"
#include "platform/linux/AtspiFocusSearch.h"
#include "platform/linux/AtspiWorker.h"
#include "platform/linux/Completion.h"

namespace quillet {

namespace {

constexpr auto answerLimit = std::chrono::milliseconds(100);
/// A search of a large page goes on for so long without its caller, so that the next one is
/// answered.
constexpr auto searchLimit = std::chrono::milliseconds(500);
/// A browser that is looked at for the first time shows its fields 10 to 25 ms later.
constexpr auto wakingTime = std::chrono::milliseconds(80);
constexpr auto nextLook = std::chrono::milliseconds(10);

}  // namespace

/// What one look at a field shows.
struct AtspiFocusedField::Sight {
    Security security = Security::unknown;
    Selection selection;  // where it was wanted
};

class AtspiFocusedField::Desk {
public:
    using Caller = std::shared_ptr<Completion<Sight>>;

    Desk(Loop& loop, Scheduler& scheduler, Log log)
        : loop_(loop), scheduler_(scheduler), worker_(std::move(log)) {}

    bool owesAnAnswer(pid_t application) const { return late_->contains(application); }

    void ask(pid_t application, Wanted wanted, Caller caller);

private:
    /// One question, from the loop's side.
    struct Question {
        pid_t application;
        Wanted wanted;
        Caller caller;
        std::shared_ptr<std::set<pid_t>> late;
        bool isAnswered = false;

        void answer(Sight sight) {
            isAnswered = true;
            late->erase(application);
            caller->finish(std::move(sight));
        }
        void expire() {
            if (isAnswered)
                return;
            late->insert(application);
            caller->finish({});
        }
    };

    static Sight sightOf(AtspiFocusSearch::Accessible* field, Wanted wanted) {
        Sight sight{AtspiFocusSearch::security(field), {}};
        // A password is not even read.
        if (wanted == Wanted::selection && sight.security == Security::plain)
            sight.selection = AtspiFocusSearch::selection(field);
        return sight;
    }

    void look(std::shared_ptr<Question> question, AtspiFocusSearch::TimePoint deadline);
    bool isWaking(pid_t application);

    Loop& loop_;
    Scheduler& scheduler_;
    /// Applications whose answer did not come in time and is still being waited for. Loop's thread;
    /// shared with what is queued there.
    std::shared_ptr<std::set<pid_t>> late_ = std::make_shared<std::set<pid_t>>();
    std::map<pid_t, AtspiFocusSearch::TimePoint> firstLooks_;  // worker's thread
    AtspiWorker worker_;  // last: nothing runs on it once the others go
};

void AtspiFocusedField::Desk::ask(pid_t application, Wanted wanted, Caller caller) {
    auto question = std::make_shared<Question>(application, wanted, std::move(caller), late_);
    scheduler_.asyncSleepUntil(scheduler_.now() + answerLimit,
                               [question](asio::error_code) { question->expire(); });
    const auto deadline = std::chrono::steady_clock::now() + answerLimit;
    worker_.post([this, question = std::move(question), deadline]() mutable {
        look(std::move(question), deadline);
    });
}

void AtspiFocusedField::Desk::look(std::shared_ptr<Question> question,
                                   AtspiFocusSearch::TimePoint deadline) {
    const auto answer = [&](Sight sight) {
        loop_.enqueue([question, sight = std::move(sight)] { question->answer(sight); });
    };
    auto* memory = worker_.focusMemory();
    if (!memory)
        return answer({});
    const auto application = question->application;
    Sight seen;
    if (const auto field = memory->confirmed(application))
        seen = sightOf(field.get(), question->wanted);
    if (seen.security != Security::unknown)
        return answer(std::move(seen));

    AtspiFocusSearch search(std::chrono::steady_clock::now() + searchLimit);
    const auto field = search.run(application);
    if (field) {
        seen = sightOf(field.get(), question->wanted);
        memory->remember(application, field.get());
    }
    const bool isInTime = std::chrono::steady_clock::now() + nextLook < deadline;
    if (seen.security != Security::unknown || !search.sawWindow() || !isInTime ||
        !isWaking(application))
        return answer(std::move(seen));
    worker_.post([this, question = std::move(question),
                  deadline]() mutable { look(std::move(question), deadline); },
                 nextLook);
}

/// Whether this application was looked at for the first time just now.
bool AtspiFocusedField::Desk::isWaking(pid_t application) {
    const auto now = std::chrono::steady_clock::now();
    return now - firstLooks_.try_emplace(application, now).first->second < wakingTime;
}

AtspiFocusedField::AtspiFocusedField(Loop& loop, Scheduler& scheduler, Log log)
    : desk_(std::make_unique<Desk>(loop, scheduler, std::move(log))) {}

AtspiFocusedField::~AtspiFocusedField() = default;

asio::awaitable<AtspiFocusedField::Sight> AtspiFocusedField::see(pid_t application, Wanted wanted) {
    if (desk_->owesAnAnswer(application))
        co_return Sight{};
    co_return co_await Completion<Sight>::wait([this, application, wanted](Desk::Caller caller) {
        desk_->ask(application, wanted, std::move(caller));
    });
}

asio::awaitable<FocusedField::Security> AtspiFocusedField::security(pid_t application) {
    const auto sight = co_await see(application, Wanted::security);
    co_return sight.security;
}

asio::awaitable<FocusedField::Selection> AtspiFocusedField::selection(pid_t application) {
    auto sight = co_await see(application, Wanted::selection);
    co_return std::move(sight.selection);
}

asio::awaitable<std::optional<FocusedField::Surroundings>> AtspiFocusedField::surroundings(pid_t,
                                                                                           Extent) {
    co_return std::nullopt;
}

asio::awaitable<FocusedField::Selecting> AtspiFocusedField::select(pid_t, std::string) {
    co_return Selecting::unreadable;
}

asio::awaitable<std::string> AtspiFocusedField::visibleText(pid_t, std::size_t) {
    co_return std::string();
}

}  // namespace quillet
