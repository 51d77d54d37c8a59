#pragma once

#include <asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>

#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"

namespace quillet {

/// What is selected in the application in front while a command is being said: what the command is
/// about. Belongs to the main queue's thread.
class SelectionCapture {
public:
    using Selection = FocusedField::Selection;

    struct Services {
        FrontApplication& frontApplication;
        FocusedField& focusedField;
        Scheduler& scheduler;
        TaskScope& tasks;  ///< owns the look; outlives this
    };

    explicit SelectionCapture(Services services) : services_(services) {}

    /// Begins to look at the application with this id, a few times if it does not tell at once.
    /// What was seen before is forgotten.
    void begin(std::optional<std::string> bundleID);
    /// Gives up a look, and forgets what was seen.
    void cancel();

    /// What has been seen so far; `unknown` without a look.
    [[nodiscard]] const Selection& soFar() const;
    /// The same, once the application has told, or has not in time.
    [[nodiscard]] asio::awaitable<Selection> finished();
    /// Whether what was seen is still what is selected, as far as the application tells.
    [[nodiscard]] asio::awaitable<bool> stands();

private:
    struct Look;
    static asio::awaitable<void> run(Services services, std::shared_ptr<Look> look);
    [[nodiscard]] static std::optional<FrontApp> watched(Services services, const Look& look);

    Services services_;
    std::shared_ptr<Look> look_;  // shared with the task that looks; none without one
    TaskHandle task_;
};

}  // namespace quillet
