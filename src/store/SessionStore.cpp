#include "store/SessionStore.h"

#include <fmt/format.h>

#include <limits>

#include "store/HistoryRows.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

/// Entries further apart than this belong to different sessions.
constexpr double idleGap = 600;
constexpr std::chrono::days day(1);

constexpr const char* reusableSession =
    "SELECT s.id FROM sessions s LEFT JOIN transcript_entries e ON e.session_id = s.id WHERE "
    "s.ended_at IS NULL AND (s.app_bundle_id IS ?1 OR s.app_bundle_id = ?1) GROUP BY s.id HAVING "
    "COALESCE(MAX(e.timestamp), s.started_at) >= ?2 ORDER BY MAX(e.timestamp) DESC LIMIT 1;";

constexpr const char* closeStaleSessions =
    "UPDATE sessions SET ended_at = ?2 WHERE ended_at IS NULL AND (app_bundle_id IS ?1 OR "
    "app_bundle_id = ?1) AND id IN (SELECT s.id FROM sessions s LEFT JOIN transcript_entries e ON "
    "e.session_id = s.id WHERE s.ended_at IS NULL AND (s.app_bundle_id IS ?1 OR s.app_bundle_id = "
    "?1) GROUP BY s.id HAVING COALESCE(MAX(e.timestamp), s.started_at) < ?2);";

constexpr const char* insertSession =
    "INSERT INTO sessions (id, started_at, app_bundle_id, app_display_name) VALUES (?, ?, ?, ?);";

constexpr const char* insertEntry =
    "INSERT INTO transcript_entries (id, session_id, timestamp, raw_text, final_text, "
    "was_cancelled, kind, replaces) VALUES (?, ?, ?, ?, ?, ?, ?, ?);";

constexpr const char* selectSessions =
    "SELECT s.id, s.started_at, s.ended_at, s.app_bundle_id, s.app_display_name, s.summary, "
    "s.tags, COUNT(e.id) FROM sessions s LEFT JOIN transcript_entries e ON e.session_id = s.id "
    "GROUP BY s.id HAVING COUNT(e.id) > 0 ORDER BY COALESCE(MAX(e.timestamp), s.started_at) DESC "
    "LIMIT ?;";

// The first comparison is what the index is for.
constexpr std::string_view whereLater = " WHERE e.timestamp > ?1 AND e.timestamp - ?1 > 0.001";

/// The session that an entry of this time belongs to, which is made where there is none.
std::string sessionFor(HistoryConnection& c, double time,
                       const std::optional<std::string>& bundleID,
                       const std::optional<std::string>& displayName) {
    auto& reusable = c.statement(reusableSession);
    bindOptional(reusable, 1, bundleID);
    reusable.bind(2, time - idleGap);
    std::string session;
    if (reusable.executeStep())
        session = reusable.getColumn(0).getString();
    reusable.reset();
    if (!session.empty())
        return session;
    auto& close = c.statement(closeStaleSessions);
    bindOptional(close, 1, bundleID);
    close.bind(2, time - idleGap);
    close.exec();
    session = c.ids->uuid();
    auto& create = c.statement(insertSession);
    create.bind(1, session);
    create.bind(2, time);
    bindOptional(create, 3, bundleID);
    bindOptional(create, 4, displayName);
    create.exec();
    return session;
}

}  // namespace

SessionStore::SessionStore(const fs::path& path, Rules rules, std::shared_ptr<IdSource> ids,
                           const Log& log, std::shared_ptr<SerialQueue> queue,
                           std::function<void()> posted, Deleted deleted)
    : path_(path),
      hides_(rules.hides),
      queue_(queue ? std::move(queue) : std::make_shared<SerialQueue>("history")),
      connection_(std::make_shared<HistoryConnection>(path, std::move(rules), std::move(ids), log)),
      posted_(std::move(posted)),
      deleted_(std::move(deleted)) {}

SessionStore::~SessionStore() {
    // Statements and database must go on the queue's thread, after what was handed to it.
    queue_->post([connection = std::move(connection_)] { connection->database.close(); });
    queue_->waitUntilIdle();
}

template <class Result, class Work>
asio::awaitable<Result> SessionStore::perform(Result nothing, Work work) {
    auto job = [connection = connection_, nothing = std::move(nothing),
                work = std::move(work)]() mutable -> Result {
        return connection->database.perform(
            std::move(nothing), [&](SQLite::Database& db) { return work(*connection, db); });
    };
    co_return co_await queue_->run(std::move(job));
}

asio::awaitable<std::optional<std::string>> SessionStore::log(
    NewEntry entry, std::optional<std::string> bundleID, std::optional<std::string> displayName) {
    auto work = [entry = std::move(entry), bundleID = std::move(bundleID),
                 displayName = std::move(displayName),
                 posted = posted_](HistoryConnection& c,
                                   SQLite::Database& db) mutable -> std::optional<std::string> {
        if (c.rules.keeps && !c.rules.keeps(bundleID.value_or("")))
            return std::nullopt;
        if (entry.id.empty())
            entry.id = c.ids->uuid();
        const double time = stored(entry.timestamp);
        ImmediateTransaction transaction(db);
        const auto session = sessionFor(c, time, bundleID, displayName);
        auto& insert = c.statement(insertEntry);
        insert.bind(1, entry.id);
        insert.bind(2, session);
        insert.bind(3, time);
        insert.bind(4, entry.rawText);
        insert.bind(5, entry.finalText);
        insert.bind(6, entry.wasCancelled ? 1 : 0);
        insert.bind(7, std::string(storedName(entry.kind)));
        bindOptional(insert, 8, entry.replaces);
        insert.exec();
        transaction.commit();
        if (posted)
            posted();
        return entry.id;
    };
    co_return co_await perform(std::optional<std::string>(), std::move(work));
}

asio::awaitable<std::vector<VSession>> SessionStore::recentSessions(int limit) {
    auto work = [limit](HistoryConnection& c, SQLite::Database&) {
        std::vector<VSession> sessions;
        auto& rows = c.statement(selectSessions);
        rows.bind(1, limit);
        while (rows.executeStep()) {
            auto session = sessionOf(rows);
            if (!c.isHidden(session.appBundleID))
                sessions.push_back(std::move(session));
        }
        return sessions;
    };
    co_return co_await perform(std::vector<VSession>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::entries(std::string sessionID) {
    auto work = [sessionID = std::move(sessionID)](HistoryConnection& c, SQLite::Database&) {
        std::vector<TranscriptEntry> found;
        static const auto ofSession =
            fmt::format("{} WHERE e.session_id = ? ORDER BY e.timestamp ASC;", selectEntries);
        auto& rows = c.statement(ofSession.c_str());
        rows.bind(1, sessionID);
        while (rows.executeStep())
            found.push_back(entryOf(rows));
        return found;
    };
    co_return co_await perform(std::vector<TranscriptEntry>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::entriesSince(
    std::optional<Calendar::UnixTime> from) {
    auto work = [from](HistoryConnection& c, SQLite::Database& db) {
        std::string sql = selectEntries;
        if (from)
            sql += " WHERE e.timestamp >= ?";
        sql += " ORDER BY e.timestamp";
        SQLite::Statement rows(db, sql);
        if (from)
            rows.bind(1, stored(*from));
        std::vector<TranscriptEntry> found;
        while (rows.executeStep()) {
            auto entry = entryOf(rows);
            if (!c.isHidden(entry.appBundleID))
                found.push_back(std::move(entry));
        }
        return found;
    };
    co_return co_await perform(std::vector<TranscriptEntry>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::newest(
    int limit, std::optional<Calendar::UnixTime> after) {
    constexpr Calendar::UnixTime ever(
        std::chrono::duration<double>(-std::numeric_limits<double>::infinity()));
    co_return co_await laterThan(after.value_or(ever), limit, "DESC");
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::firstAfter(Calendar::UnixTime after,
                                                                       int limit) {
    co_return co_await laterThan(after, limit, "ASC");
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::laterThan(Calendar::UnixTime after,
                                                                      int limit,
                                                                      std::string_view order) {
    auto work = [after, limit, order](HistoryConnection& c, SQLite::Database&) {
        const auto sql =
            fmt::format("{}{} ORDER BY e.timestamp {}", selectEntries, whereLater, order);
        auto& rows = c.statement(sql.c_str());
        rows.bind(1, stored(after));
        std::vector<TranscriptEntry> found;
        while (std::cmp_less(found.size(), limit) && rows.executeStep()) {
            auto entry = entryOf(rows);
            if (!c.isHidden(entry.appBundleID))
                found.push_back(std::move(entry));
        }
        rows.reset();  // it would hold up the clearing of the write-ahead log
        return found;
    };
    co_return co_await perform(std::vector<TranscriptEntry>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::search(Filter filter) {
    auto work = [connection = connection_,
                 filter = std::move(filter)](const std::stop_token& stop) {
        return connection->database.perform(
            std::vector<TranscriptEntry>(),
            [&](SQLite::Database& db) { return searchHistory(*connection, db, filter, stop); });
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::optional<TranscriptEntry>> SessionStore::entry(std::string id) {
    auto work = [id = std::move(id)](HistoryConnection& c, SQLite::Database&) {
        static const auto withId = fmt::format("{} WHERE e.id = ?;", selectEntries);
        auto& rows = c.statement(withId.c_str());
        rows.bind(1, id);
        std::optional<TranscriptEntry> found;
        if (rows.executeStep())
            found = entryOf(rows);
        rows.reset();
        return found && c.isHidden(found->appBundleID) ? std::nullopt : found;
    };
    co_return co_await perform(std::optional<TranscriptEntry>(), std::move(work));
}

asio::awaitable<bool> SessionStore::contains(std::string id) {
    auto work = [id = std::move(id)](HistoryConnection& c, SQLite::Database&) {
        auto& rows = c.statement("SELECT 1 FROM transcript_entries WHERE id = ?;");
        rows.bind(1, id);
        const bool isThere = rows.executeStep();
        rows.reset();
        return isThere;
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<std::optional<DeletedEntries>> SessionStore::deleteEntries(
    std::vector<std::string> ids) {
    auto work = [ids = std::move(ids), told = deleted_](HistoryConnection& c,
                                                        SQLite::Database& db) {
        auto deleted = std::optional(quillet::deleteEntries(c, db, ids));
        if (told && !ids.empty())
            told(ids);
        return deleted;
    };
    co_return co_await perform(std::optional<DeletedEntries>(), std::move(work));
}

asio::awaitable<bool> SessionStore::restore(DeletedEntries deleted) {
    auto work = [deleted = std::move(deleted), posted = posted_](HistoryConnection& c,
                                                                 SQLite::Database& db) {
        restoreEntries(c, db, deleted);
        if (posted)
            posted();
        return true;
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<bool> SessionStore::purge(int days, Calendar::UnixTime now) {
    auto work = [oldest = now - days * day](HistoryConnection& c, SQLite::Database& db) {
        deleteOlderThan(c, db, oldest);
        return true;
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<bool> SessionStore::deleteAll() {
    auto work = [told = deleted_](HistoryConnection& c, SQLite::Database& db) {
        deleteHistory(c, db);
        if (told)
            told({});
        return true;
    };
    co_return co_await perform(false, std::move(work));
}

std::unique_ptr<HistoryReader> SessionStore::reader() const {
    return std::make_unique<HistoryReader>(path_, hides_);
}

asio::awaitable<std::optional<std::string>> SessionStore::lastError() {
    auto work = [connection = connection_] { return connection->database.lastError(); };
    co_return co_await queue_->run(std::move(work));
}

}  // namespace quillet
