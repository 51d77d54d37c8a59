#include "platform/linux/AtspiFocusedField.h"

#include <map>
#include <set>

#include "base/async/Loop.h"
#include "base/async/Scheduler.h"
#include "platform/linux/AtspiFocusMemory.h"
#include "platform/linux/AtspiFocusSearch.h"
#include "platform/linux/AtspiTextField.h"
#include "platform/linux/AtspiWindowText.h"
#include "platform/linux/AtspiWorker.h"
#include "platform/linux/Completion.h"

namespace quillet {

namespace {

constexpr auto answerLimit = std::chrono::milliseconds(100);
/// What is read until then comes in time, even if the application does not answer the last call.
constexpr auto readingLimit = answerLimit - AtspiWorker::callLimit;
/// A search of a large page goes on for so long without its caller, so that the next one is
/// answered.
constexpr auto searchLimit = std::chrono::milliseconds(500);
/// A browser that is looked at for the first time shows its fields 10 to 25 ms later.
constexpr auto wakingTime = std::chrono::milliseconds(80);
constexpr auto nextLook = std::chrono::milliseconds(10);

}  // namespace

class AtspiFocusedField::Desk {
public:
    using TimePoint = AtspiFocusSearch::TimePoint;
    using Accessible = AtspiFocusSearch::Accessible;

    /// What was found of an application, on the worker's thread.
    struct Found {
        Accessible* window;  ///< none when only the field is known
        Accessible* field;   ///< what has the focus
        Security security;
        TimePoint deadline;  ///< for what is asked of it now
    };

    Desk(Loop& loop, Scheduler& scheduler, Log log)
        : loop_(loop), scheduler_(scheduler), log_(log), worker_(std::move(log)) {}

    /// What `read` makes of what was found, or else `unknown` when it took too long.
    template <class T>
    asio::awaitable<T> ask(pid_t application, T unknown, std::function<T(const Found&)> read);

    /// The same for the text of a field, unless that is or might be a password.
    template <class T>
    asio::awaitable<T> askText(pid_t application, const T& unknown,
                               const std::function<T(FocusedTextReader&)>& read);

private:
    using InTime = Completion<bool>;

    /// One question, from the loop's side.
    struct Question {
        pid_t application;
        std::function<void(const Found&)> read;  // worker's thread
        std::shared_ptr<InTime> caller;
        std::shared_ptr<std::set<pid_t>> late;
        bool isAnswered = false;

        void answer() {
            isAnswered = true;
            late->erase(application);
            caller->finish(true);
        }
        void expire() {
            if (isAnswered)
                return;
            late->insert(application);
            caller->finish(false);
        }
    };

    void post(std::shared_ptr<Question> question);
    void look(std::shared_ptr<Question> question, TimePoint deadline);
    void answer(std::shared_ptr<Question> question, const Found& found);
    bool isWaking(pid_t application);

    Loop& loop_;
    Scheduler& scheduler_;
    const Log log_;
    /// Applications whose answer did not come in time and is still being waited for. Loop's thread;
    /// shared with what is queued there.
    std::shared_ptr<std::set<pid_t>> late_ = std::make_shared<std::set<pid_t>>();
    std::map<pid_t, TimePoint> firstLooks_;  // worker's thread
    AtspiWorker worker_;                     // last: nothing runs on it once the others go
};

template <class T>
asio::awaitable<T> AtspiFocusedField::Desk::ask(pid_t application, T unknown,
                                                std::function<T(const Found&)> read) {
    if (late_->contains(application))
        co_return unknown;
    // The worker's until the question is answered, and then the caller's.
    const auto answer = std::make_shared<std::optional<T>>();
    const bool inTime = co_await InTime::wait([&](std::shared_ptr<InTime> caller) {
        post(std::make_shared<Question>(
            application, [answer, read](const Found& found) { answer->emplace(read(found)); },
            std::move(caller), late_));
    });
    co_return inTime && answer->has_value() ? std::move(**answer) : unknown;
}

template <class T>
asio::awaitable<T> AtspiFocusedField::Desk::askText(
    pid_t application, const T& unknown, const std::function<T(FocusedTextReader&)>& read) {
    return ask<T>(application, unknown, [unknown, read](const Found& found) {
        // A password is not even read.
        if (found.security != Security::plain)
            return unknown;
        AtspiTextField field(found.field, found.deadline);
        FocusedTextReader reader(field);
        return read(reader);
    });
}

void AtspiFocusedField::Desk::post(std::shared_ptr<Question> question) {
    scheduler_.asyncSleepUntil(scheduler_.now() + answerLimit,
                               [question](asio::error_code) { question->expire(); });
    const auto deadline = std::chrono::steady_clock::now() + readingLimit;
    worker_.post([this, question = std::move(question), deadline]() mutable {
        look(std::move(question), deadline);
    });
}

void AtspiFocusedField::Desk::look(std::shared_ptr<Question> question, TimePoint deadline) {
    auto* memory = worker_.focusMemory();
    if (!memory)
        return answer(std::move(question), {.security = Security::unknown, .deadline = deadline});
    const auto application = question->application;
    auto field = memory->confirmed(application);
    auto security = field ? AtspiFocusSearch::security(field.get()) : Security::unknown;
    if (security != Security::unknown)
        return answer(std::move(question), {nullptr, field.get(), security, deadline});

    AtspiFocusSearch search(std::chrono::steady_clock::now() + searchLimit);
    field = search.run(application);
    if (field) {
        security = AtspiFocusSearch::security(field.get());
        memory->remember(application, field.get());
    }
    const bool mayWake = search.window() && isWaking(application);
    const bool isInTime = std::chrono::steady_clock::now() + nextLook < deadline;
    if (security != Security::unknown || !mayWake || !isInTime)
        return answer(std::move(question), {search.window(), field.get(), security, deadline});
    worker_.post([this, question = std::move(question),
                  deadline]() mutable { look(std::move(question), deadline); },
                 nextLook);
}

void AtspiFocusedField::Desk::answer(std::shared_ptr<Question> question, const Found& found) {
    question->read(found);
    loop_.enqueue([question = std::move(question)] { question->answer(); });
}

/// Whether this application was looked at for the first time just now.
bool AtspiFocusedField::Desk::isWaking(pid_t application) {
    const auto now = std::chrono::steady_clock::now();
    const auto [look, isFirst] = firstLooks_.try_emplace(application, now);
    if (isFirst)
        log_.info("Requested AX tree for pid {}", application);
    return now - look->second < wakingTime;
}

AtspiFocusedField::AtspiFocusedField(Loop& loop, Scheduler& scheduler, Log log)
    : desk_(std::make_unique<Desk>(loop, scheduler, std::move(log))) {}

AtspiFocusedField::~AtspiFocusedField() = default;

asio::awaitable<FocusedField::Security> AtspiFocusedField::security(pid_t application) {
    return desk_->ask<Security>(application, Security::unknown,
                                [](const Desk::Found& found) { return found.security; });
}

asio::awaitable<FocusedField::Selection> AtspiFocusedField::selection(pid_t application) {
    return desk_->askText<Selection>(application, {},
                                     [](FocusedTextReader& reader) { return reader.selection(); });
}

asio::awaitable<std::optional<FocusedField::Surroundings>> AtspiFocusedField::surroundings(
    pid_t application, Extent extent) {
    return desk_->askText<std::optional<Surroundings>>(
        application, std::nullopt,
        [extent](FocusedTextReader& reader) { return reader.surroundings(extent); });
}

asio::awaitable<FocusedField::Selecting> AtspiFocusedField::select(pid_t application,
                                                                   std::string text) {
    return desk_->askText<Selecting>(
        application, Selecting::unreadable,
        [text = std::move(text)](FocusedTextReader& reader) { return reader.select(text); });
}

asio::awaitable<std::string> AtspiFocusedField::visibleText(pid_t application,
                                                            std::size_t mostCharacters) {
    return desk_->ask<std::string>(application, {}, [mostCharacters](const Desk::Found& found) {
        AtspiWindowText text(mostCharacters, found.deadline);
        if (found.field)
            return text.around(found.field);
        return found.window ? text.of(found.window) : std::string();
    });
}

asio::awaitable<std::optional<DesktopRect>> AtspiFocusedField::caretRect(pid_t application) {
    using Rect = std::optional<DesktopRect>;
    return desk_->ask<Rect>(application, std::nullopt, [](const Desk::Found& found) -> Rect {
        if (!found.field)
            return std::nullopt;
        return AtspiTextField(found.field, found.deadline).caretRect();
    });
}

}  // namespace quillet
