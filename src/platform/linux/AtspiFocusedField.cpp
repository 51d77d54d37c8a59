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

class AtspiFocusedField::Desk {
public:
    using Caller = std::shared_ptr<Completion<Security>>;

    Desk(Loop& loop, Scheduler& scheduler, Log log)
        : loop_(loop), scheduler_(scheduler), worker_(std::move(log)) {}

    bool owesAnAnswer(pid_t application) const { return late_->contains(application); }

    void ask(pid_t application, Caller caller);

private:
    /// One question, from the loop's side.
    struct Question {
        pid_t application;
        Caller caller;
        std::shared_ptr<std::set<pid_t>> late;
        bool isAnswered = false;

        void answer(Security security) {
            isAnswered = true;
            late->erase(application);
            caller->finish(security);
        }
        void expire() {
            if (isAnswered)
                return;
            late->insert(application);
            caller->finish(Security::unknown);
        }
    };

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

void AtspiFocusedField::Desk::ask(pid_t application, Caller caller) {
    auto question = std::make_shared<Question>(application, std::move(caller), late_);
    scheduler_.asyncSleepUntil(scheduler_.now() + answerLimit,
                               [question](asio::error_code) { question->expire(); });
    const auto deadline = std::chrono::steady_clock::now() + answerLimit;
    worker_.post([this, question = std::move(question), deadline]() mutable {
        look(std::move(question), deadline);
    });
}

void AtspiFocusedField::Desk::look(std::shared_ptr<Question> question,
                                   AtspiFocusSearch::TimePoint deadline) {
    const auto answer = [&](Security security) {
        loop_.enqueue([question, security] { question->answer(security); });
    };
    auto* memory = worker_.focusMemory();
    if (!memory)
        return answer(Security::unknown);
    const auto application = question->application;
    auto known = Security::unknown;
    if (const auto field = memory->confirmed(application))
        known = AtspiFocusSearch::security(field.get());
    if (known != Security::unknown)
        return answer(known);

    AtspiFocusSearch search(std::chrono::steady_clock::now() + searchLimit);
    const auto field = search.run(application);
    if (field) {
        known = AtspiFocusSearch::security(field.get());
        memory->remember(application, field.get());
    }
    const bool isInTime = std::chrono::steady_clock::now() + nextLook < deadline;
    if (known != Security::unknown || !search.sawWindow() || !isInTime || !isWaking(application))
        return answer(known);
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

asio::awaitable<FocusedField::Security> AtspiFocusedField::security(pid_t application) {
    if (desk_->owesAnAnswer(application))
        co_return Security::unknown;
    co_return co_await Completion<Security>::wait(
        [this, application](Desk::Caller caller) { desk_->ask(application, std::move(caller)); });
}

}  // namespace quillet
