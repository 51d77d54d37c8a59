#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Calendar.h"

struct sqlite3;
struct sqlite3_stmt;

namespace quillet {

/// A connection to the history for short reads where they are wanted: beside the store's, whose
/// queue they would have to wait for. It never writes and never waits; what it cannot read, or not
/// quickly, is left to the store. Used on one thread.
class HistoryReader {
public:
    /// An entry as it stands in the database. The texts are valid during one call.
    struct Row {
        std::string_view id;
        Calendar::UnixTime timestamp;
        std::string_view rawText;
        std::string_view finalText;
        std::string_view appName;  ///< empty: not known
        std::optional<std::string_view> replaces;
    };
    /// Takes a row; false when no more are wanted.
    using Take = std::function<bool(const Row&)>;
    using Predicate = std::function<bool(const std::string& bundleID)>;

    /// Opens the database on first use.
    HistoryReader(std::filesystem::path path, Predicate hides);

    /// Hands the latest entries over, newest first; with `after` only those that are later. False
    /// when they cannot be read here; some may have been handed over before.
    [[nodiscard]] bool newest(int limit, std::optional<Calendar::UnixTime> after, const Take& take);

private:
    struct Close {
        void operator()(sqlite3* database) const;
        void operator()(sqlite3_stmt* statement) const;
    };

    using Statement = std::unique_ptr<sqlite3_stmt, Close>;

    /// The application of the session that was read last: entries in a row mostly share it.
    struct Session {
        std::string id;
        std::string appName;
        bool isHidden = false;
    };

    bool isOpen();
    static Statement prepared(sqlite3* database, std::string_view sql);
    void readSession(std::string_view id);

    std::filesystem::path path_;
    Predicate hides_;
    std::unique_ptr<sqlite3, Close> database_;
    Statement newest_;  // go before the database
    Statement application_;
    Session session_;
};

}  // namespace quillet
