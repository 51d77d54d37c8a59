#include "app/PreSendController.h"

#include <asio/use_awaitable.hpp>

#include "app/Messages.h"

namespace quillet {

namespace {

using namespace std::chrono_literals;

constexpr auto secondLook = 100ms;
constexpr double longestDelay = 60;  // seconds
/// For so long a Return that is seen may still be the program's own.
constexpr auto ownReturnLasts = 150ms;

constexpr KeyChord commandPeriod = {{Modifier::command}, Key::period};

std::string_view loggedName(SendKeyType key) {
    return key == SendKeyType::enter ? "enter" : "cmdEnter";
}

}  // namespace

std::optional<SendPlan> sendPlanFor(const std::optional<std::string>& bundleID,
                                    const AppProfileStore& profiles,
                                    const QuilletSettings& settings) {
    const auto profile = bundleID ? profiles.profile(*bundleID) : std::nullopt;
    if (!(profile ? profile->autoSend : settings.autoSend))
        return std::nullopt;
    const double wanted =
        profile && profile->autoSendDelay ? *profile->autoSendDelay : settings.autoSendDelay;
    const double seconds = std::clamp(wanted, 0.0, longestDelay);
    return SendPlan{profile ? profile->sendKey : settings.sendKey,
                    std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1'000))};
}

PreSendController::PreSendController(Services services) : services_(std::move(services)) {}

void PreSendController::schedule(SendPlan plan, FrontApp typedInto) {
    drop();
    services_.log.info("schedule: delay={:f}s, key={}",
                       std::chrono::duration<double>(plan.delay).count(), loggedName(plan.sendKey));
    pendingSendKey_ = plan.sendKey;
    pendingApp_ = std::move(typedInto);
    setPending(true);
    services_.panel.showCountdown(plan.delay);
    timer_ = services_.tasks.spawn(countDown(plan.delay));
}

void PreSendController::cancel() {
    if (!pendingFlag_)
        return;
    services_.log.info("cancel");
    drop();
}

void PreSendController::cancelForUser() {
    cancel();
    services_.panel.showNotice(std::string(messages::notSent));
}

void PreSendController::drop() {
    timer_.cancel();
    firingOwnEnterFlag_ = false;
    setPending(false);
}

void PreSendController::setPending(bool pending) {
    if (pending == pendingFlag_)
        return;
    pendingFlag_ = pending;
    if (!pending)
        services_.panel.hideCountdown();
    services_.pendingChanged();
}

void PreSendController::keyDown(KeyChord chord) {
    const bool isReturn = chord.key == Key::returnKey;
    if (isReturn && firingOwnEnterFlag_)
        return;
    if (isReturn)
        ++manualReturns_;
    if (!pendingFlag_)
        return;
    if (isReturn) {
        services_.log.info("manual Enter observed");
        drop();
        return;
    }
    if (chord.key == Key::escape || chord == commandPeriod) {
        cancelForUser();
        return;
    }
    cancel();
    services_.panel.showNotice(std::string(messages::notSentTyping));
}

bool PreSendController::isStillInFront() const {
    const auto front = services_.frontApplication.current();
    return front && isSameWindow(*front, pendingApp_);
}

/// The field that has the focus in the application that is to send; none where it does not tell.
asio::awaitable<std::optional<std::string>> PreSendController::fieldInFront() {
    if (!isStillInFront())
        co_return std::nullopt;
    auto around = co_await services_.focusedField.surroundings(pendingApp_.pid, {});
    co_return around ? std::optional(std::move(around->field)) : std::nullopt;
}

asio::awaitable<void> PreSendController::countDown(std::chrono::milliseconds delay) {
    const auto due = services_.scheduler.now() + delay;
    const auto typedInto = co_await fieldInFront();
    co_await services_.scheduler.asyncSleepUntil(due, asio::use_awaitable);
    if (co_await mayPress(typedInto))
        co_await press();
    setPending(false);
}

/// Whether Return still means what it meant when the text was typed.
asio::awaitable<bool> PreSendController::mayPress(std::optional<std::string> typedInto) {
    auto now = co_await fieldInFront();
    if (typedInto && !now) {
        // It may be busy for a moment.
        co_await services_.scheduler.sleep(secondLook);
        now = co_await fieldInFront();
    }
    const bool secure =
        !now && isStillInFront() &&
        co_await services_.focusedField.security(pendingApp_.pid) == FocusedField::Security::secure;
    if (isStillInFront() && !secure && (!typedInto || now == typedInto))
        co_return true;
    const auto front = services_.frontApplication.current();
    const bool sameApp = front && front->bundleID == pendingApp_.bundleID;
    services_.log.info("auto-send skipped: another {} is in front", sameApp ? "field" : "app");
    services_.panel.showNotice(
        std::string(sameApp ? messages::notSentField : messages::notSentApplication));
    co_return false;
}

asio::awaitable<void> PreSendController::press() {
    firingOwnEnterFlag_ = true;
    // What is on its way cannot be called back: from here on there is nothing to cancel.
    setPending(false);
    services_.sending();
    const auto style =
        pendingSendKey_ == SendKeyType::enter ? ReturnStyle::alone : ReturnStyle::withCommand;
    if (!co_await services_.keys.postReturn(style))
        services_.log.error("The send key could not be pressed");
    co_await services_.scheduler.sleep(ownReturnLasts);
    firingOwnEnterFlag_ = false;
}

}  // namespace quillet
