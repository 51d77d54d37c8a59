#include "store/Database.h"

#include <sqlite3.h>
#include <sys/stat.h>

namespace quillet {

namespace {

/// How long a statement waits for another process that holds the database.
constexpr int busyTimeoutMs = 500;

// What is deleted is overwritten, too.
constexpr const char* pragmas[] = {"PRAGMA synchronous=NORMAL;", "PRAGMA temp_store=MEMORY;",
                                   "PRAGMA secure_delete=ON;"};

}  // namespace

Database::Database(std::filesystem::path path, Prepare prepare, Log log)
    : path_(std::move(path)), prepare_(std::move(prepare)), log_(std::move(log)) {}

SQLite::Database* Database::open() {
    if (connection_)
        return connection_.get();
    try {
        std::error_code ec;
        std::filesystem::create_directories(path_.parent_path(), ec);
        ::chmod(path_.parent_path().c_str(), 0700);
        auto db = std::make_unique<SQLite::Database>(
            path_.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
            busyTimeoutMs);
        ::chmod(path_.c_str(), 0600);
        const auto journal = db->execAndGet("PRAGMA journal_mode=WAL;").getString();
        log_.info("journal_mode={}", journal);
        for (const auto* pragma : pragmas)
            db->exec(pragma);
        prepare_(*db);
        connection_ = std::move(db);
    } catch (const SQLite::Exception& error) {
        lastError_ = error.what();
        log_.error("Failed to open database at {}", path_.string());
    }
    return connection_.get();
}

SQLite::Statement& Database::statement(const char* sql) {
    auto& prepared = statements_[sql];
    if (!prepared)
        prepared = std::make_unique<SQLite::Statement>(*connection_, sql);
    prepared->reset();
    prepared->clearBindings();
    return *prepared;
}

void Database::emptyLog() {
    isLogFull_ = true;
    SQLite::Statement checkpoint(*connection_, "PRAGMA wal_checkpoint(TRUNCATE);");
    constexpr int busy = 0;  // the column
    isLogFull_ = !checkpoint.executeStep() || checkpoint.getColumn(busy).getInt() != 0;
}

void Database::emptyRestOfLog() {
    if (!isLogFull_ || !connection_)
        return;
    // Who reads is not waited for.
    sqlite3_busy_timeout(connection_->getHandle(), 0);
    try {
        emptyLog();
    } catch (const SQLite::Exception& error) {
        log_.error("The write-ahead log cannot be emptied yet: {}", error.what());
    }
    sqlite3_busy_timeout(connection_->getHandle(), busyTimeoutMs);
}

void Database::close() {
    emptyRestOfLog();
    statements_.clear();
    connection_.reset();
}

void Database::failed(const SQLite::Exception& error) {
    lastError_ = error.what();
    log_.error("SQL error: {}", *lastError_);
    // A corrupt or vanished file is opened afresh by the next operation.
    if (error.getErrorCode() != SQLITE_BUSY && error.getErrorCode() != SQLITE_FULL)
        close();
}

ImmediateTransaction::ImmediateTransaction(SQLite::Database& db) : db_(db) {
    db_.exec("BEGIN IMMEDIATE TRANSACTION;");
}

ImmediateTransaction::~ImmediateTransaction() {
    if (!committed_)
        db_.tryExec("ROLLBACK;");
}

void ImmediateTransaction::commit() {
    db_.exec("COMMIT;");
    committed_ = true;
}

}  // namespace quillet
