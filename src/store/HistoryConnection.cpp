#include "store/HistoryConnection.h"

#include <sqlite3.h>

#include <algorithm>

#include "base/text/Text.h"

namespace quillet {

namespace {

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

void migrate(SQLite::Database& db) {
    std::vector<std::string> columns;
    SQLite::Statement info(db, "PRAGMA table_info(transcript_entries)");
    while (info.executeStep())
        columns.push_back(info.getColumn(1).getString());
    for (const auto& migration : migrations) {
        if (std::ranges::find(columns, migration.column) == columns.end())
            db.exec(migration.statement);
    }
}

void prepareSchema(SQLite::Database& db) {
    for (const auto* statement : schema)
        db.exec(statement);
    migrate(db);
    for (const auto* statement : indexes)
        db.exec(statement);
}

/// The bytes as they stand in the page: asked for as a text they would be copied to be terminated.
std::string_view textOf(sqlite3_value* value) {
    const auto* text = static_cast<const char*>(sqlite3_value_blob(value));
    return text == nullptr
               ? std::string_view()
               : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

void holdsWords(sqlite3_context* context, int, sqlite3_value** texts) {
    const auto& words = *static_cast<const std::vector<CaselessWord>*>(sqlite3_user_data(context));
    const auto first = textOf(texts[0]);
    auto second = textOf(texts[1]);
    if (first == second)
        second = {};
    const auto isHeld = [first, second](const auto& word) {
        return word.isIn(first) || word.isIn(second);
    };
    sqlite3_result_int(context, std::ranges::all_of(words, isHeld) ? 1 : 0);
}

void foldText(sqlite3_context* context, int, sqlite3_value** text) {
    const auto folded = caseFolded(textOf(text[0]));
    sqlite3_result_text(context, folded.data(), static_cast<int>(folded.size()), SQLITE_TRANSIENT);
}

}  // namespace

HistoryConnection::HistoryConnection(const std::filesystem::path& path, Rules storeRules,
                                     std::shared_ptr<IdSource> idSource, const Log& log)
    : rules(std::move(storeRules)),
      ids(std::move(idSource)),
      database(
          path,
          [this, log, path](SQLite::Database& db) {
              prepareSchema(db);
              db.createFunction("holds_words", 2, false, &words, holdsWords);
              db.createFunction("folded", 1, true, nullptr, foldText);
              log.info("Opened at {}", path.string());
          },
          log) {}

}  // namespace quillet
