#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/log/Log.h"

namespace quillet {

/// The connection of a store to its SQLite file, opened when it is first needed. Used on the
/// store's queue only.
///
/// A file that cannot be opened is tried again by every operation, so that one whose disk was away
/// for a while comes back.
class Database {
public:
    /// Creates tables and indexes and migrates older ones; may throw what SQLite throws.
    using Prepare = std::function<void(SQLite::Database&)>;

    Database(std::filesystem::path path, Prepare prepare, Log log);

    /// Runs `work` on the open database. What is returned when there is none, or when SQLite
    /// reports an error, is `nothing`.
    template <class Result, class Work>
    Result perform(Result nothing, Work&& work) {
        if (open() == nullptr)
            return nothing;
        const RestOfLog rest(*this);
        try {
            lastError_.reset();
            return work(*connection_);
        } catch (const SQLite::Exception& error) {
            failed(error);
            return nothing;
        }
    }

    /// A statement that is compiled once; reset and without bindings.
    SQLite::Statement& statement(const char* sql);

    /// Takes what was deleted out of the write-ahead log too, which still holds the pages as they
    /// were before. That cannot be while somebody reads; it is then done after a later operation or
    /// when the database is closed, whichever can do it first.
    void emptyLog();

    void close();

    /// What went wrong with the last operation; none when it went well.
    [[nodiscard]] const std::optional<std::string>& lastError() const { return lastError_; }

private:
    /// Empties the log after an operation where that is owed.
    struct RestOfLog {
        explicit RestOfLog(Database& of) : database(of) {}
        ~RestOfLog() { database.emptyRestOfLog(); }
        RestOfLog(const RestOfLog&) = delete;
        RestOfLog& operator=(const RestOfLog&) = delete;
        Database& database;
    };

    SQLite::Database* open();
    void failed(const SQLite::Exception& error);
    void emptyRestOfLog();

    std::filesystem::path path_;
    Prepare prepare_;
    Log log_;
    std::unique_ptr<SQLite::Database> connection_;
    std::map<std::string, std::unique_ptr<SQLite::Statement>, std::less<>> statements_;
    std::optional<std::string> lastError_;
    bool isLogFull_ = false;  // what was deleted may still stand in it
};

/// "BEGIN IMMEDIATE" … "COMMIT"; undone when not committed.
class ImmediateTransaction {
public:
    explicit ImmediateTransaction(SQLite::Database& db);
    ~ImmediateTransaction();
    ImmediateTransaction(const ImmediateTransaction&) = delete;
    ImmediateTransaction& operator=(const ImmediateTransaction&) = delete;

    void commit();

private:
    SQLite::Database& db_;
    bool committed_ = false;
};

}  // namespace quillet
