#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "platform/Calendar.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"

namespace quillet {

/// Writes dictations into the history beside the next dictation, which does not wait for it.
/// Belongs to the main queue's thread.
class HistoryWriter {
public:
    struct Services {
        const Calendar& calendar;
        AppSettings& settings;
        SessionStore& history;
        TaskScope& tasks;  ///< owns what is being written
    };
    /// What becomes of one entry: its id, or none when it could not be written.
    using Written = std::function<void(std::optional<std::string> id)>;

    explicit HistoryWriter(Services services);

    /// Writes one dictation, now. Where the settings keep no history of that application, nothing
    /// is written and `written` is not called.
    void write(std::string raw, std::string text, std::optional<std::string> bundleID,
               std::optional<std::string> appName, Written written);

    /// Waits until nothing is being written.
    [[nodiscard]] asio::awaitable<void> settled() { return idle_.wait(); }

private:
    asio::awaitable<void> store(SessionStore::NewEntry entry, std::optional<std::string> bundleID,
                                std::optional<std::string> appName, Written written);

    Services services_;
    int underWay_ = 0;
    Event idle_;  // set while nothing is under way
};

}  // namespace quillet
