#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "app/FloatingPanel.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"
#include "platform/KeyPoster.h"
#include "settings/AppProfileStore.h"
#include "settings/AppSettings.h"

namespace quillet {

/// How a message is sent by itself, where that is wanted.
struct SendPlan {
    SendKeyType sendKey = SendKeyType::enter;
    std::chrono::milliseconds delay{};
    friend bool operator==(const SendPlan&, const SendPlan&) = default;
};

/// What the application's profile asks for, or for an application without one the global settings.
/// None where messages are not sent by themselves.
[[nodiscard]] std::optional<SendPlan> sendPlanFor(const std::optional<std::string>& bundleID,
                                                  const AppProfileStore& profiles,
                                                  const QuilletSettings& settings);

/// Presses an application's send key after a dictation was typed into it, unless the user cancels,
/// sends by hand, goes on typing or turns to something else in the meantime. For one message it
/// presses at most one Return, and none once the countdown was cancelled.
///
/// Belongs to the main queue's thread.
class PreSendController {
public:
    struct Services {
        Scheduler& scheduler;
        FrontApplication& frontApplication;
        FocusedField& focusedField;
        KeyPoster& keys;
        FloatingPanel& panel;
        TaskScope& tasks;  ///< owns the countdown; outlives this
        Log log;
        std::function<void()> pendingChanged;
        std::function<void()> sending;  ///< called just before Return is pressed
    };

    explicit PreSendController(Services services);

    /// Begins the countdown. One that was under way is dropped.
    void schedule(SendPlan plan, FrontApp typedInto);
    /// Drops the countdown, if there is one.
    void cancel();
    /// The same because the user wants it, who is told.
    void cancelForUser();
    /// A key that the user pressed, at any time.
    void keyDown(KeyChord chord);

    /// A countdown is under way.
    [[nodiscard]] bool pending() const { return pendingFlag_; }
    /// How often the user has pressed Return by hand so far.
    [[nodiscard]] int manualReturns() const { return manualReturns_; }

private:
    asio::awaitable<void> countDown(std::chrono::milliseconds delay);
    asio::awaitable<std::optional<std::string>> fieldInFront();
    asio::awaitable<bool> mayPress(std::optional<std::string> typedInto);
    asio::awaitable<void> press();
    [[nodiscard]] bool isStillInFront() const;
    void drop();
    void setPending(bool pending);

    Services services_;
    TaskHandle timer_;
    SendKeyType pendingSendKey_ = SendKeyType::enter;
    FrontApp pendingApp_;  // the window that the message stands in
    bool pendingFlag_ = false;
    bool firingOwnEnterFlag_ = false;
    int manualReturns_ = 0;
};

}  // namespace quillet
