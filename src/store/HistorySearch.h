#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "store/TranscriptEntry.h"

namespace SQLite {
class Database;
}

namespace quillet {

class HistoryConnection;

/// Which entries are looked for; each field narrows it down. "Later" is what is so by more than a
/// millisecond: whoever passes a time back may have rounded it.
struct HistoryFilter {
    /// Where a page ended: the next one begins behind this entry.
    struct Place {
        Calendar::UnixTime timestamp;
        std::string id;
    };

    std::optional<std::string> text;
    /// Each occurs in what was heard or in what was written, in any case of any script.
    std::vector<std::string> words;
    std::optional<std::string> application;  ///< bundle id or display name, in any case
    std::optional<Calendar::UnixTime> from;
    std::optional<Calendar::UnixTime> after;  ///< only what is later
    std::optional<Calendar::UnixTime> until;
    std::vector<EntryKind> kinds;  ///< empty: all
    int limit = 100;
    std::optional<std::string> session;  ///< its id
    std::optional<Place> before;
};

/// What matches, newest first; of the same time, the one with the larger id first. Empty when it
/// was told to stop. On the store's queue.
[[nodiscard]] std::vector<TranscriptEntry> searchHistory(HistoryConnection& connection,
                                                         SQLite::Database& db,
                                                         const HistoryFilter& filter,
                                                         const std::stop_token& stop);

}  // namespace quillet
