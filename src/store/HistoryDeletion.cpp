#include "store/HistoryDeletion.h"

#include <fmt/format.h>

#include <set>

#include "store/HistoryConnection.h"
#include "store/HistoryRows.h"

namespace quillet {

namespace {

constexpr const char* selectSession =
    "SELECT s.id, s.started_at, s.ended_at, s.app_bundle_id, s.app_display_name, s.summary, "
    "s.tags, 0 FROM sessions s WHERE s.id = ?;";
constexpr const char* deleteEntry = "DELETE FROM transcript_entries WHERE id = ?;";
constexpr const char* deleteEmptySession =
    "DELETE FROM sessions WHERE id = ?1 AND NOT EXISTS (SELECT 1 FROM transcript_entries WHERE "
    "session_id = ?1);";
constexpr const char* restoreSession =
    "INSERT OR IGNORE INTO sessions (id, started_at, ended_at, app_bundle_id, app_display_name, "
    "summary, tags) VALUES (?, ?, ?, ?, ?, ?, ?);";
constexpr const char* restoreEntry =
    "INSERT OR IGNORE INTO transcript_entries (id, session_id, timestamp, raw_text, final_text, "
    "was_cancelled, kind, replaces) VALUES (?, ?, ?, ?, ?, ?, ?, ?);";

/// Statements of the connection hold the log up while they stand in a row.
template <class Row>
void readInto(std::vector<Row>& rows, SQLite::Statement& statement,
              Row (*read)(const SQLite::Statement&), const std::string& id) {
    statement.bind(1, id);
    if (statement.executeStep())
        rows.push_back(read(statement));
    statement.reset();
}

void execute(SQLite::Statement& statement, const std::string& id) {
    statement.bind(1, id);
    statement.exec();
    statement.reset();
}

void put(HistoryConnection& connection, const VSession& session) {
    auto& row = connection.statement(restoreSession);
    row.bind(1, session.id);
    row.bind(2, stored(session.startedAt));
    if (session.endedAt)
        row.bind(3, stored(*session.endedAt));
    bindOptional(row, 4, session.appBundleID);
    bindOptional(row, 5, session.appDisplayName);
    bindOptional(row, 6, session.summary);
    bindOptional(row, 7, storedTags(session));
    row.exec();
    row.reset();
}

void put(HistoryConnection& connection, const TranscriptEntry& entry) {
    auto& row = connection.statement(restoreEntry);
    row.bind(1, entry.id);
    row.bind(2, entry.sessionID);
    row.bind(3, stored(entry.timestamp));
    row.bind(4, entry.rawText);
    row.bind(5, entry.finalText);
    row.bind(6, entry.wasCancelled ? 1 : 0);
    row.bind(7, std::string(storedName(entry.kind)));
    bindOptional(row, 8, entry.replaces);
    row.exec();
    row.reset();
}

}  // namespace

DeletedEntries deleteEntries(HistoryConnection& connection, SQLite::Database& db,
                             const std::vector<std::string>& ids) {
    static const auto selectEntry = fmt::format("{} WHERE e.id = ?;", selectEntries);
    DeletedEntries deleted;
    ImmediateTransaction transaction(db);
    for (const auto& id : ids) {
        readInto(deleted.entries, connection.statement(selectEntry.c_str()), &entryOf, id);
        execute(connection.statement(deleteEntry), id);
    }
    std::set<std::string> sessions;
    for (const auto& entry : deleted.entries)
        sessions.insert(entry.sessionID);
    for (const auto& id : sessions) {
        readInto(deleted.sessions, connection.statement(selectSession), &sessionOf, id);
        execute(connection.statement(deleteEmptySession), id);
    }
    transaction.commit();
    connection.database.emptyLog();
    return deleted;
}

void restoreEntries(HistoryConnection& connection, SQLite::Database& db,
                    const DeletedEntries& deleted) {
    ImmediateTransaction transaction(db);
    for (const auto& session : deleted.sessions)
        put(connection, session);
    for (const auto& entry : deleted.entries)
        put(connection, entry);
    transaction.commit();
}

void deleteOlderThan(HistoryConnection& connection, SQLite::Database& db,
                     Calendar::UnixTime oldest) {
    ImmediateTransaction transaction(db);
    db.exec(fmt::format("DELETE FROM transcript_entries WHERE timestamp < {};", stored(oldest)));
    db.exec(
        "DELETE FROM sessions WHERE id NOT IN (SELECT DISTINCT session_id FROM "
        "transcript_entries);");
    transaction.commit();
    connection.database.emptyLog();
}

void deleteHistory(HistoryConnection& connection, SQLite::Database& db) {
    db.exec("DELETE FROM transcript_entries;");
    db.exec("DELETE FROM sessions;");
    connection.database.emptyLog();
    db.exec("VACUUM;");
    // The vacuum itself was written to the log.
    connection.database.emptyLog();
}

}  // namespace quillet
