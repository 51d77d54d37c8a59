#pragma once

#include <asio/awaitable.hpp>
#include <functional>
#include <string>
#include <vector>

#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"
#include "settings/AppSettings.h"

namespace quillet {

/// Looks, while the user speaks, at what a dictation is spoken into: whether it is a password
/// field, and, where the settings allow that to be used, what stands before the cursor and what
/// can be read in the window. Belongs to the main queue's thread.
class ContextCapture {
public:
    static constexpr std::size_t contextCharacters = 500;
    static constexpr std::size_t screenCharacters = 2'000;

    struct Services {
        FocusedField& focusedField;
        AppSettings& settings;
        Scheduler& scheduler;
        TaskScope& tasks;  ///< owns the look; outlives this
        Log log;
    };
    struct Context {
        std::string beforeCursor;
        std::string screenText;
        std::vector<std::string> screenTerms;
    };

    explicit ContextCapture(Services services) : services_(std::move(services)) {}

    struct Callbacks {
        std::function<void()> passwordSeen;  ///< it is a password field after all
        std::function<void(Context)> seen;   ///< what may be used of it; not called for nothing
        std::function<void(DesktopRect)> caretSeen;  ///< where the text goes
    };

    /// Begins to look. Nothing is called any more after `end` or the next `begin`.
    void begin(const FrontApp& front, Callbacks callbacks);
    /// Looks once more where the caret is.
    void lookAtCaret();
    void end();

private:
    asio::awaitable<void> look();
    asio::awaitable<void> tellCaret();
    asio::awaitable<FocusedField::Security> security(pid_t application);
    asio::awaitable<Context> read(pid_t application);

    Services services_;
    pid_t application_ = 0;
    Callbacks callbacks_;
    TaskHandle look_;
    TaskHandle caretLook_;
};

}  // namespace quillet
