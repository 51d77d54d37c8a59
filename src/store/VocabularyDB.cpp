#include "store/VocabularyDB.h"

#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"
#include "base/text/Text.h"
#include "store/Database.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t shortestOriginal = 2;
constexpr std::size_t shortestEnglishOriginal = 4;
constexpr std::size_t longestOriginal = 24;
constexpr std::size_t longestCorrected = 40;
/// Half a million short pairs; what is larger was not written by a program of ours.
constexpr std::uintmax_t largestDictionary = 32U << 20U;

constexpr const char* schema =
    "CREATE TABLE IF NOT EXISTS corrections (id INTEGER PRIMARY KEY AUTOINCREMENT, original TEXT "
    "NOT NULL, corrected TEXT NOT NULL, frequency INTEGER DEFAULT 1, confidence REAL DEFAULT 1.0, "
    "source TEXT DEFAULT 'manual', created_at REAL DEFAULT (strftime('%s','now')), last_used REAL "
    "DEFAULT (strftime('%s','now')), UNIQUE(original, corrected)); CREATE INDEX IF NOT EXISTS "
    "idx_original ON corrections(original); CREATE INDEX IF NOT EXISTS idx_frequency ON "
    "corrections(frequency DESC);";

constexpr const char* addLearnedAt = "ALTER TABLE corrections ADD COLUMN learned_at REAL;";
constexpr const char* migrations[] = {
    "UPDATE corrections SET learned_at = created_at WHERE learned_at IS NULL;",
    "UPDATE corrections SET source = 'manual' WHERE source = 'user';",
};

constexpr const char* prune =
    "DELETE FROM corrections WHERE LENGTH(corrected) > 40 OR LENGTH(original) > 24 OR corrected "
    "LIKE '%' || char(10) || '%';";

/// A counted use never moves the time at which a pair was learned, and only the user's own hand
/// changes where it came from.
constexpr const char* upsert =
    "INSERT INTO corrections (original, corrected, frequency, confidence, source, last_used, "
    "learned_at) VALUES (?, ?, 1, ?, ?, strftime('%s','now'), strftime('%s','now')) ON "
    "CONFLICT(original, corrected) DO UPDATE SET frequency = frequency + 1, confidence = "
    "MAX(confidence, ?), last_used = strftime('%s','now'), learned_at = CASE WHEN ? THEN "
    "strftime('%s','now') ELSE learned_at END, source = CASE WHEN excluded.source IN ('manual', "
    "'user') THEN excluded.source ELSE source END";

constexpr const char* selectAll =
    "SELECT original, corrected, frequency, source FROM corrections ORDER BY frequency DESC";
constexpr const char* selectTop =
    "SELECT corrected FROM corrections GROUP BY corrected ORDER BY SUM(frequency) DESC LIMIT ?;";
constexpr const char* selectOne =
    "SELECT 1 FROM corrections WHERE original = ? AND corrected = ? LIMIT 1";
constexpr const char* deleteOne = "DELETE FROM corrections WHERE original = ? AND corrected = ?";
constexpr const char* selectForSync =
    "SELECT original, corrected, frequency, COALESCE(learned_at, created_at), source FROM "
    "corrections";
constexpr const char* merge =
    "INSERT INTO corrections (original, corrected, frequency, source, created_at, last_used, "
    "learned_at) VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT(original, corrected) DO UPDATE SET "
    "frequency = MAX(frequency, excluded.frequency), learned_at = MAX(COALESCE(learned_at, 0), "
    "excluded.learned_at), source = CASE WHEN excluded.source IN ('manual', 'user') THEN "
    "excluded.source ELSE source END";
constexpr const char* deleteLearned =
    "DELETE FROM corrections WHERE source NOT IN ('manual', 'user')";

bool isEnglish(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

int clamped(std::int64_t frequency) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<int>(std::clamp<std::int64_t>(frequency, Limits::min(), Limits::max()));
}

std::string textOf(const SQLite::Column& column) {
    // Another program may have written what is no UTF-8.
    return withValidUtf8(column.getString());
}

}  // namespace

bool fitsTheTable(std::string_view original, std::string_view corrected) {
    return !original.empty() && !corrected.empty() && original != corrected &&
           characterCount(original) <= longestOriginal &&
           characterCount(corrected) <= longestCorrected &&
           corrected.find_first_of("\n\r") == std::string_view::npos;
}

std::expected<void, std::string> checkPair(std::string_view original, std::string_view corrected) {
    const auto heard = trimmed(original);
    const auto written = trimmed(corrected);
    const auto length = characterCount(heard);
    const auto shortest = isEnglish(heard) ? shortestEnglishOriginal : shortestOriginal;
    const bool oneLine = written.find_first_of("\n\r") == std::string::npos;
    if (length >= shortest && length <= longestOriginal && heard != written && !written.empty() &&
        oneLine && characterCount(written) <= longestCorrected)
        return {};
    return std::unexpected(
        "Original: 2–24 characters (English ≥ 4), different from corrected. Corrected: one line, "
        "up to 40 characters.");
}

/// The table and what was read from it last. Used on the store's queue only.
class VocabularyDB::Table {
public:
    Table(const Files& files, const Log& log)
        : database(
              files.database, [this, files](SQLite::Database& db) { prepare(db, files); }, log),
          log_(log) {}

    bool learn(const std::string& original, const std::string& corrected, double confidence,
               const std::string& source) {
        bind(database.statement(upsert), original, corrected, confidence, source).exec();
        changed();
        log_.info("Learned: {} → {} (source={})", log_.hidden(original), log_.hidden(corrected),
                  source);
        return true;
    }

    Entries entries() {
        forgetWhatOthersChanged();
        if (entriesCache_)
            return entriesCache_;
        auto all = std::make_shared<std::vector<VocabEntry>>();
        auto& rows = database.statement(selectAll);
        while (rows.executeStep())
            all->push_back({textOf(rows.getColumn(0)), textOf(rows.getColumn(1)),
                            rows.getColumn(2).getInt(), textOf(rows.getColumn(3))});
        entriesCache_ = std::move(all);
        return entriesCache_;
    }

    std::vector<std::string> top(int limit) {
        forgetWhatOthersChanged();
        if (topTermsCache_ && topTermsCache_->limit == limit)
            return topTermsCache_->terms;
        TopTerms top{limit, {}};
        auto& rows = database.statement(selectTop);
        rows.bind(1, limit);
        while (rows.executeStep())
            top.terms.push_back(textOf(rows.getColumn(0)));
        topTermsCache_ = std::move(top);
        return topTermsCache_->terms;
    }

    bool merge(SQLite::Database& db, const std::vector<SyncEntry>& entries,
               const std::vector<Tombstone>& tombstones) {
        ImmediateTransaction transaction(db);
        auto& add = database.statement(quillet::merge);
        for (const auto& entry : entries) {
            // A pair of nothing would take words away.
            if (entry.original.empty() || entry.corrected.empty())
                continue;
            add.reset();
            add.bind(1, entry.original);
            add.bind(2, entry.corrected);
            add.bind(3, clamped(entry.frequency));
            add.bind(4, entry.source.value_or(std::string(vocabulary_source::sync)));
            for (const int time : {5, 6, 7})
                add.bind(time, entry.learnedAt);
            add.exec();
        }
        auto& drop = database.statement(deleteOne);
        int deleted = 0;
        for (const auto& tombstone : tombstones) {
            drop.reset();
            drop.bind(1, tombstone.original);
            drop.bind(2, tombstone.corrected);
            deleted += drop.exec();
        }
        transaction.commit();
        changed();
        log_.info("Synced: {} added/updated, {} deleted", entries.size(), deleted);
        return true;
    }

    void changed() {
        entriesCache_.reset();
        topTermsCache_.reset();
    }

    Database database;

private:
    struct TopTerms {
        int limit;
        std::vector<std::string> terms;
    };

    static SQLite::Statement& bind(SQLite::Statement& insert, const std::string& original,
                                   const std::string& corrected, double confidence,
                                   const std::string& source) {
        insert.bind(1, original);
        insert.bind(2, corrected);
        insert.bind(3, confidence);
        insert.bind(4, source);
        insert.bind(5, confidence);
        insert.bind(6, source == vocabulary_source::usage ? 0 : 1);
        return insert;
    }

    void prepare(SQLite::Database& db, const Files& files) {
        // A table that is there can be read even where nothing can be written.
        if (db.tryExec(schema) != SQLITE_OK && !db.tableExists("corrections"))
            db.exec(schema);
        db.tryExec(addLearnedAt);  // fails where the column exists
        for (const auto* migration : migrations)
            db.tryExec(migration);
        const int count = db.execAndGet("SELECT COUNT(*) FROM corrections").getInt();
        log_.info("Opened at {}, {} entries", files.database.string(), count);
        if (count == 0)
            importDictionary(db, files.legacyDictionary);
        if (db.tryExec(prune) != SQLITE_OK)
            log_.error("Prune failed: {}", db.getErrorMsg());
        else if (const int pruned = db.getChanges(); pruned > 0)
            log_.info("Pruned {} garbage entries", pruned);
        changed();
    }

    /// Broken files are left as they are, and so are pairs that are no texts.
    void importDictionary(SQLite::Database& db, const fs::path& file) {
        std::error_code ec;
        const auto size = fs::file_size(file, ec);
        if (ec)
            return;
        if (size > largestDictionary) {
            log_.error("JSON migration failed: {} is larger than {} bytes", file.string(),
                       largestDictionary);
            return;
        }
        const auto pairs = readJsonFile(file);
        if (!pairs || !pairs->is_object()) {
            log_.error("JSON migration failed: {} is no JSON object", file.string());
            return;
        }
        ImmediateTransaction transaction(db);
        SQLite::Statement insert(db, upsert);
        int taken = 0;
        for (const auto& [original, corrected] : pairs->items()) {
            const auto heard = trimmed(original);
            const auto written =
                corrected.is_string() ? trimmed(corrected.get_ref<const std::string&>()) : "";
            if (!fitsTheTable(heard, written))
                continue;
            insert.reset();
            bind(insert, heard, written, 1.0, std::string(vocabulary_source::manual)).exec();
            ++taken;
        }
        transaction.commit();
        log_.info("Migrated {} entries from JSON", taken);
    }

    /// The command and the application share the file.
    void forgetWhatOthersChanged() {
        auto& version = database.statement("PRAGMA data_version");
        const int seen = version.executeStep() ? version.getColumn(0).getInt() : 0;
        version.reset();
        if (std::exchange(dataVersion_, seen) != seen)
            changed();
    }

    Log log_;
    Entries entriesCache_;
    std::optional<TopTerms> topTermsCache_;
    int dataVersion_ = 0;
};

VocabularyDB::VocabularyDB(const Files& files, const Log& log, std::shared_ptr<SerialQueue> queue)
    : queue_(queue ? std::move(queue) : std::make_shared<SerialQueue>("vocabulary")),
      table_(std::make_shared<Table>(files, log)) {}

VocabularyDB::~VocabularyDB() {
    // Statements and database must go on the queue's thread, after what was handed to it.
    queue_->post([table = std::move(table_)] { table->database.close(); });
    queue_->waitUntilIdle();
}

template <class Result, class Work>
asio::awaitable<Result> VocabularyDB::perform(Result nothing, Work work) {
    auto job = [table = table_, nothing = std::move(nothing),
                work = std::move(work)]() mutable -> Result {
        return table->database.perform(std::move(nothing),
                                       [&](SQLite::Database& db) { return work(*table, db); });
    };
    co_return co_await queue_->run(std::move(job));
}

asio::awaitable<bool> VocabularyDB::learn(std::string original, std::string corrected,
                                          double confidence, std::string source) {
    auto work = [original = trimmed(original), corrected = trimmed(corrected), confidence,
                 source = std::move(source)](Table& table, SQLite::Database&) {
        return table.learn(original, corrected, confidence, source);
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<VocabularyDB::Entries> VocabularyDB::allEntries() {
    auto work = [](Table& table, SQLite::Database&) { return table.entries(); };
    Entries none = std::make_shared<const std::vector<VocabEntry>>();
    co_return co_await perform(std::move(none), std::move(work));
}

asio::awaitable<std::vector<std::string>> VocabularyDB::topCorrected(int limit) {
    auto work = [limit](Table& table, SQLite::Database&) { return table.top(limit); };
    co_return co_await perform(std::vector<std::string>(), std::move(work));
}

asio::awaitable<bool> VocabularyDB::contains(std::string original, std::string corrected) {
    auto work = [original = std::move(original), corrected = std::move(corrected)](
                    Table& table, SQLite::Database&) {
        auto& row = table.database.statement(selectOne);
        row.bind(1, original);
        row.bind(2, corrected);
        const bool found = row.executeStep();
        row.reset();
        return found;
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<bool> VocabularyDB::remove(std::string original, std::string corrected) {
    auto work = [original = std::move(original), corrected = std::move(corrected)](
                    Table& table, SQLite::Database&) {
        auto& drop = table.database.statement(deleteOne);
        drop.bind(1, original);
        drop.bind(2, corrected);
        const bool dropped = drop.exec() > 0;
        table.changed();
        return dropped;
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<std::vector<VocabularyDB::SyncEntry>> VocabularyDB::exportForSync() {
    auto work = [](Table& table, SQLite::Database&) {
        std::vector<SyncEntry> all;
        auto& rows = table.database.statement(selectForSync);
        while (rows.executeStep())
            all.push_back({textOf(rows.getColumn(0)), textOf(rows.getColumn(1)),
                           rows.getColumn(2).getInt64(), rows.getColumn(3).getDouble(),
                           textOf(rows.getColumn(4))});
        return all;
    };
    co_return co_await perform(std::vector<SyncEntry>(), std::move(work));
}

asio::awaitable<bool> VocabularyDB::mergeFromSync(std::vector<SyncEntry> entries,
                                                  std::vector<Tombstone> tombstones) {
    auto work = [entries = std::move(entries), tombstones = std::move(tombstones)](
                    Table& table, SQLite::Database& db) {
        return table.merge(db, entries, tombstones);
    };
    co_return co_await perform(false, std::move(work));
}

asio::awaitable<int> VocabularyDB::resetAutoLearned() {
    auto work = [](Table& table, SQLite::Database&) {
        const int deleted = table.database.statement(deleteLearned).exec();
        table.changed();
        return deleted;
    };
    co_return co_await perform(0, std::move(work));
}

asio::awaitable<std::optional<std::string>> VocabularyDB::lastError() {
    auto work = [table = table_] { return table->database.lastError(); };
    co_return co_await queue_->run(std::move(work));
}

}  // namespace quillet
