#include "store/SessionStore.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/text/CaselessWord.h"
#include "base/text/Text.h"
#include "store/Database.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

/// Entries further apart than this belong to different sessions.
constexpr double idleGap = 600;
constexpr int unlimited = -1;
constexpr double secondsADay = 86'400;

constexpr const char* schema[] = {
    "CREATE TABLE IF NOT EXISTS sessions (id TEXT PRIMARY KEY, started_at REAL NOT NULL, ended_at "
    "REAL, app_bundle_id TEXT, app_display_name TEXT, summary TEXT, tags TEXT);",
    "CREATE TABLE IF NOT EXISTS transcript_entries (id TEXT PRIMARY KEY, session_id TEXT NOT NULL, "
    "timestamp REAL NOT NULL, raw_text TEXT NOT NULL, final_text TEXT NOT NULL, was_cancelled "
    "INTEGER NOT NULL DEFAULT 0, kind TEXT NOT NULL DEFAULT 'dictation');",
};

struct Migration {
    std::string_view column;
    const char* statement;
};
constexpr Migration migrations[] = {
    {"kind", "ALTER TABLE transcript_entries ADD COLUMN kind TEXT NOT NULL DEFAULT 'dictation';"},
    {"replaces", "ALTER TABLE transcript_entries ADD COLUMN replaces TEXT;"},
};

constexpr const char* indexes[] = {
    "CREATE INDEX IF NOT EXISTS idx_entries_session ON transcript_entries(session_id);",
    "CREATE INDEX IF NOT EXISTS idx_entries_ts ON transcript_entries(timestamp);",
    "CREATE INDEX IF NOT EXISTS idx_sessions_app ON sessions(app_bundle_id);",
    "CREATE INDEX IF NOT EXISTS idx_sessions_ts ON sessions(started_at);",
};

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

constexpr const char* selectEntries =
    "SELECT id, session_id, timestamp, raw_text, final_text, was_cancelled FROM "
    "transcript_entries WHERE session_id = ? ORDER BY timestamp ASC;";

constexpr const char* selectEntriesSince =
    "SELECT e.id, e.session_id, e.timestamp, e.raw_text, e.final_text, e.was_cancelled, "
    "COALESCE(s.app_display_name, s.app_bundle_id), e.replaces, s.app_bundle_id, e.kind FROM "
    "transcript_entries e LEFT JOIN sessions s ON s.id = e.session_id";

// The first comparison is what the index is for.
constexpr const char* whereLater = " WHERE e.timestamp > ?1 AND e.timestamp - ?1 > 0.001";

constexpr const char* searchEntries =
    "SELECT e.id, e.session_id, e.timestamp, e.raw_text, e.final_text, e.was_cancelled, "
    "s.started_at, s.ended_at, s.app_bundle_id, s.app_display_name, e.kind, e.replaces FROM "
    "transcript_entries e JOIN sessions s ON s.id = e.session_id WHERE ";

double stored(Calendar::UnixTime time) {
    return time.time_since_epoch().count();
}

Calendar::UnixTime timeOf(const SQLite::Column& column) {
    return Calendar::UnixTime(std::chrono::duration<double>(column.getDouble()));
}

std::optional<std::string> optionalText(const SQLite::Column& column) {
    return column.isNull() ? std::nullopt : std::optional(column.getString());
}

void bindOptional(SQLite::Statement& statement, int index, const std::optional<std::string>& text) {
    if (text)
        statement.bind(index, *text);
    else
        statement.bind(index);
}

EntryKind kindOf(std::string_view name) {
    return name == storedName(EntryKind::live) ? EntryKind::live : EntryKind::dictation;
}

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string likePattern(std::string_view text) {
    std::string pattern = "%";
    for (const char c : text) {
        if (c == '\\' || c == '%' || c == '_')
            pattern += '\\';
        pattern += c;
    }
    return pattern + "%";
}

/// The columns that every reading statement begins with.
TranscriptEntry entryOf(const SQLite::Statement& row) {
    TranscriptEntry entry;
    entry.id = row.getColumn(0).getString();
    entry.sessionID = row.getColumn(1).getString();
    entry.timestamp = timeOf(row.getColumn(2));
    entry.rawText = row.getColumn(3).getString();
    entry.finalText = row.getColumn(4).getString();
    entry.wasCancelled = row.getColumn(5).getInt() != 0;
    return entry;
}

/// A row of a statement that selects what entriesSince does.
TranscriptEntry entryWithApp(const SQLite::Statement& row) {
    auto entry = entryOf(row);
    entry.appName = optionalText(row.getColumn(6));
    entry.replaces = optionalText(row.getColumn(7));
    entry.appBundleID = optionalText(row.getColumn(8));
    entry.kind = kindOf(row.getColumn(9).getString());
    return entry;
}

std::string_view textOf(sqlite3_value* value) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return text == nullptr
               ? std::string_view()
               : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

/// holds_words(a, b): whether one of two texts holds each of the words that are looked for.
void holdsWords(sqlite3_context* context, int, sqlite3_value** texts) {
    const auto& words = *static_cast<const std::vector<CaselessWord>*>(sqlite3_user_data(context));
    const auto isHeld = [first = textOf(texts[0]), second = textOf(texts[1])](const auto& word) {
        return word.isIn(first) || word.isIn(second);
    };
    sqlite3_result_int(context, std::ranges::all_of(words, isHeld) ? 1 : 0);
}

/// folded(a): a text without case.
void foldText(sqlite3_context* context, int, sqlite3_value** text) {
    const auto folded = caseFolded(textOf(text[0]));
    sqlite3_result_text(context, folded.data(), static_cast<int>(folded.size()), SQLITE_TRANSIENT);
}

std::vector<std::string> tagsOf(const SQLite::Column& column) {
    const auto list = nlohmann::json::parse(column.getString(), nullptr, false);
    std::vector<std::string> tags;
    if (list.is_array()) {
        for (const auto& tag : list) {
            if (tag.is_string())
                tags.push_back(tag.get<std::string>());
        }
    }
    return tags;
}

}  // namespace

std::string_view storedName(EntryKind kind) {
    switch (kind) {
        case EntryKind::dictation:
            return "dictation";
        case EntryKind::live:
            return "live";
    }
    return "dictation";
}

/// What the store works with. Used on the store's queue only.
class SessionStore::Connection {
public:
    Connection(const fs::path& path, Rules storeRules, std::shared_ptr<IdSource> idSource,
               const Log& storeLog, std::function<void()> postedCallback)
        : rules(std::move(storeRules)),
          ids(std::move(idSource)),
          posted(std::move(postedCallback)),
          database(
              path,
              [this, storeLog, path](SQLite::Database& db) {
                  prepare(db);
                  db.createFunction("holds_words", 2, false, &words, holdsWords);
                  db.createFunction("folded", 1, true, nullptr, foldText);
                  storeLog.info("Opened at {}", path.string());
              },
              storeLog) {}

    SQLite::Statement& statement(const char* sql) { return database.statement(sql); }

    [[nodiscard]] bool isHidden(const TranscriptEntry& entry) const {
        return rules.hides && entry.appBundleID && rules.hides(*entry.appBundleID);
    }

    Rules rules;
    std::shared_ptr<IdSource> ids;
    std::function<void()> posted;
    std::vector<CaselessWord> words;  // of the search under way, for holds_words
    Database database;

private:
    static void prepare(SQLite::Database& db) {
        for (const auto* statement : schema)
            db.exec(statement);
        migrate(db);
        for (const auto* statement : indexes)
            db.exec(statement);
    }

    static void migrate(SQLite::Database& db) {
        std::vector<std::string> columns;
        SQLite::Statement info(db, "PRAGMA table_info(transcript_entries)");
        while (info.executeStep())
            columns.push_back(info.getColumn(1).getString());
        for (const auto& migration : migrations) {
            if (std::ranges::find(columns, migration.column) == columns.end())
                db.exec(migration.statement);
        }
    }
};

SessionStore::SessionStore(const fs::path& path, Rules rules, std::shared_ptr<IdSource> ids,
                           const Log& log, std::shared_ptr<SerialQueue> queue,
                           std::function<void()> posted)
    : path_(path),
      hides_(rules.hides),
      queue_(queue ? std::move(queue) : std::make_shared<SerialQueue>("history")),
      connection_(std::make_shared<Connection>(path, std::move(rules), std::move(ids), log,
                                               std::move(posted))) {}

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
                 displayName = std::move(displayName)](
                    Connection& c, SQLite::Database& db) mutable -> std::optional<std::string> {
        if (c.rules.keeps && !c.rules.keeps(bundleID.value_or("")))
            return std::nullopt;
        if (entry.id.empty())
            entry.id = c.ids->uuid();
        const double time = stored(entry.timestamp);
        ImmediateTransaction transaction(db);

        std::string session;
        auto& reusable = c.statement(reusableSession);
        bindOptional(reusable, 1, bundleID);
        reusable.bind(2, time - idleGap);
        if (reusable.executeStep())
            session = reusable.getColumn(0).getString();
        reusable.reset();
        if (session.empty()) {
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
        }

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
        if (c.posted)
            c.posted();
        return entry.id;
    };
    co_return co_await perform(std::optional<std::string>(), std::move(work));
}

asio::awaitable<std::vector<VSession>> SessionStore::recentSessions(int limit) {
    auto work = [limit](Connection& c, SQLite::Database&) {
        std::vector<VSession> sessions;
        auto& rows = c.statement(selectSessions);
        rows.bind(1, limit);
        while (rows.executeStep()) {
            VSession session;
            session.id = rows.getColumn(0).getString();
            session.startedAt = timeOf(rows.getColumn(1));
            if (!rows.getColumn(2).isNull())
                session.endedAt = timeOf(rows.getColumn(2));
            session.appBundleID = optionalText(rows.getColumn(3));
            session.appDisplayName = optionalText(rows.getColumn(4));
            session.summary = optionalText(rows.getColumn(5));
            session.tags = tagsOf(rows.getColumn(6));
            session.entryCount = rows.getColumn(7).getInt();
            const bool hidden =
                c.rules.hides && session.appBundleID && c.rules.hides(*session.appBundleID);
            if (!hidden)
                sessions.push_back(std::move(session));
        }
        return sessions;
    };
    co_return co_await perform(std::vector<VSession>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::entries(std::string sessionID) {
    auto work = [sessionID = std::move(sessionID)](Connection& c, SQLite::Database&) {
        std::vector<TranscriptEntry> found;
        auto& rows = c.statement(selectEntries);
        rows.bind(1, sessionID);
        while (rows.executeStep())
            found.push_back(entryOf(rows));
        return found;
    };
    co_return co_await perform(std::vector<TranscriptEntry>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::entriesSince(
    std::optional<Calendar::UnixTime> from) {
    auto work = [from](Connection& c, SQLite::Database& db) {
        std::string sql = selectEntriesSince;
        if (from)
            sql += " WHERE e.timestamp >= ?";
        sql += " ORDER BY e.timestamp";
        SQLite::Statement rows(db, sql);
        if (from)
            rows.bind(1, stored(*from));
        std::vector<TranscriptEntry> found;
        while (rows.executeStep()) {
            auto entry = entryWithApp(rows);
            if (!c.isHidden(entry))
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
    auto work = [after, limit, order](Connection& c, SQLite::Database&) {
        const auto sql =
            fmt::format("{}{} ORDER BY e.timestamp {}", selectEntriesSince, whereLater, order);
        auto& rows = c.statement(sql.c_str());
        rows.bind(1, stored(after));
        std::vector<TranscriptEntry> found;
        while (std::cmp_less(found.size(), limit) && rows.executeStep()) {
            auto entry = entryWithApp(rows);
            if (!c.isHidden(entry))
                found.push_back(std::move(entry));
        }
        rows.reset();  // it would hold up the clearing of the write-ahead log
        return found;
    };
    co_return co_await perform(std::vector<TranscriptEntry>(), std::move(work));
}

asio::awaitable<std::vector<TranscriptEntry>> SessionStore::search(Filter filter) {
    auto work = [filter = std::move(filter)](Connection& c, SQLite::Database& db) {
        std::vector<std::string> conditions;
        if (filter.text)
            conditions.emplace_back(
                R"((e.final_text LIKE ? ESCAPE '\' OR e.raw_text LIKE ? ESCAPE '\'))");
        c.words = std::vector<CaselessWord>(filter.words.begin(), filter.words.end());
        if (!c.words.empty())
            conditions.emplace_back("holds_words(e.final_text, e.raw_text)");
        // SQLite itself knows the case of ASCII letters only.
        const bool isFolded = filter.application && !isAscii(*filter.application);
        if (filter.application)
            conditions.push_back(fmt::format(
                "(s.app_bundle_id = ? COLLATE NOCASE OR s.app_display_name = ? COLLATE NOCASE{})",
                isFolded ? " OR folded(s.app_display_name) = ?" : ""));
        if (filter.from)
            conditions.emplace_back("e.timestamp >= ?");
        if (filter.after)
            conditions.emplace_back("e.timestamp - ? > 0.001");
        if (filter.until)
            conditions.emplace_back("e.timestamp <= ?");
        if (!filter.kinds.empty()) {
            const std::vector<std::string_view> marks(filter.kinds.size(), "?");
            conditions.push_back(fmt::format("e.kind IN ({})", fmt::join(marks, ",")));
        }
        if (conditions.empty())
            conditions.emplace_back("1");

        SQLite::Statement rows(db, fmt::format("{}{} ORDER BY e.timestamp DESC LIMIT ?;",
                                               searchEntries, fmt::join(conditions, " AND ")));
        int index = 1;
        if (filter.text) {
            const auto pattern = likePattern(*filter.text);
            rows.bind(index++, pattern);
            rows.bind(index++, pattern);
        }
        if (filter.application) {
            rows.bind(index++, *filter.application);
            rows.bind(index++, *filter.application);
        }
        if (isFolded)
            rows.bind(index++, caseFolded(*filter.application));
        if (filter.from)
            rows.bind(index++, stored(*filter.from));
        if (filter.after)
            rows.bind(index++, stored(*filter.after));
        if (filter.until)
            rows.bind(index++, stored(*filter.until));
        for (const auto kind : filter.kinds)
            rows.bind(index++, std::string(storedName(kind)));
        // What is hidden does not count towards the limit.
        rows.bind(index, c.rules.hides ? unlimited : filter.limit);

        std::vector<TranscriptEntry> found;
        while (found.size() < static_cast<std::size_t>(filter.limit) && rows.executeStep()) {
            auto entry = entryOf(rows);
            entry.appBundleID = optionalText(rows.getColumn(8));
            entry.appName = optionalText(rows.getColumn(9));
            if (!entry.appName)
                entry.appName = entry.appBundleID;
            entry.kind = kindOf(rows.getColumn(10).getString());
            entry.replaces = optionalText(rows.getColumn(11));
            if (!c.isHidden(entry))
                found.push_back(std::move(entry));
        }
        return found;
    };
    co_return co_await perform(std::vector<TranscriptEntry>(), std::move(work));
}

asio::awaitable<bool> SessionStore::purge(int days, Calendar::UnixTime now) {
    auto work = [days, now](Connection&, SQLite::Database& db) {
        const double cutoff = stored(now) - days * secondsADay;
        ImmediateTransaction transaction(db);
        db.exec(fmt::format("DELETE FROM transcript_entries WHERE timestamp < {};", cutoff));
        db.exec(
            "DELETE FROM sessions WHERE id NOT IN (SELECT DISTINCT session_id FROM "
            "transcript_entries);");
        transaction.commit();
        return true;
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<bool> SessionStore::deleteAll() {
    auto work = [](Connection&, SQLite::Database& db) {
        db.exec("DELETE FROM transcript_entries;");
        db.exec("DELETE FROM sessions;");
        db.exec("PRAGMA wal_checkpoint(TRUNCATE);");
        db.exec("VACUUM;");
        // The vacuum itself was written to the log.
        db.exec("PRAGMA wal_checkpoint(TRUNCATE);");
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
