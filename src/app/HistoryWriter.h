#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/async/InFlight.h"
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
    struct Dictation {
        std::string entryID;
        std::string raw;
        std::string text;
        std::optional<std::string> bundleID;
        std::optional<std::string> appName;
        EntryKind kind = EntryKind::dictation;
        std::optional<std::string> replaces;
        bool wasCancelled = false;
    };
    /// Told of a dictation that could not be written.
    using Failed = std::function<void(const std::string& entryID)>;

    explicit HistoryWriter(Services services);

    /// Whether the settings keep a history of this application.
    [[nodiscard]] bool keeps(const std::optional<std::string>& bundleID) const;

    /// Writes one dictation, now, where a history of its application is kept.
    void write(Dictation dictation, Failed failed);

    /// Waits until nothing is being written.
    [[nodiscard]] asio::awaitable<void> settled() { return underWay_.settled(); }

private:
    asio::awaitable<void> store(Dictation dictation, Calendar::UnixTime at, Failed failed,
                                InFlight::Token underWay);

    Services services_;
    InFlight underWay_;
};

}  // namespace quillet
