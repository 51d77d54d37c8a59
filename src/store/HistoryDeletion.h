#pragma once

#include <string>
#include <vector>

#include "store/TranscriptEntry.h"

namespace SQLite {
class Database;
}

/// What leaves the history, for good: neither the database's file nor, once nobody reads it any
/// more, its write-ahead log holds a text that was deleted. All of it on the store's queue.
namespace quillet {

class HistoryConnection;

/// Entries that were deleted, with what there is to know of their sessions, to be put back.
struct DeletedEntries {
    std::vector<TranscriptEntry> entries;
    std::vector<VSession> sessions;
};

/// Deletes entries, and sessions that are left without any.
[[nodiscard]] DeletedEntries deleteEntries(HistoryConnection& connection, SQLite::Database& db,
                                           const std::vector<std::string>& ids);
/// Puts entries back as they were; what is there already stays.
void restoreEntries(HistoryConnection& connection, SQLite::Database& db,
                    const DeletedEntries& deleted);
void deleteOlderThan(HistoryConnection& connection, SQLite::Database& db,
                     Calendar::UnixTime oldest);
void deleteHistory(HistoryConnection& connection, SQLite::Database& db);

}  // namespace quillet
