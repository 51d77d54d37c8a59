#include "store/HistoryReader.h"

#include <sqlite3.h>

#include <limits>

namespace quillet {

namespace {

// The first comparison is what the index is for; later is what is so by more than a millisecond.
constexpr std::string_view selectNewest =
    "SELECT id, session_id, timestamp, raw_text, final_text, replaces FROM transcript_entries "
    "WHERE timestamp > ?1 AND timestamp - ?1 > 0.001 ORDER BY timestamp DESC";

enum Column { id, sessionID, timestamp, rawText, finalText, replaces };

constexpr std::string_view selectApplication =
    "SELECT app_bundle_id, COALESCE(app_display_name, app_bundle_id) FROM sessions WHERE id = ?";

std::string_view textOf(sqlite3_stmt* row, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return text == nullptr ? std::string_view()
                           : std::string_view(
                                 text, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

HistoryReader::Row rowOf(sqlite3_stmt* row, std::string_view appName) {
    HistoryReader::Row read{.id = textOf(row, id),
                            .timestamp = Calendar::UnixTime(std::chrono::duration<double>(
                                sqlite3_column_double(row, timestamp))),
                            .rawText = textOf(row, rawText),
                            .finalText = textOf(row, finalText),
                            .appName = appName,
                            .replaces = std::nullopt};
    if (sqlite3_column_type(row, replaces) != SQLITE_NULL)
        read.replaces = textOf(row, replaces);
    return read;
}

/// A statement that holds nothing up any more when it has been used.
class Used {
public:
    explicit Used(sqlite3_stmt* statement) : statement_(statement) {}
    ~Used() { sqlite3_reset(statement_); }
    Used(const Used&) = delete;
    Used& operator=(const Used&) = delete;

private:
    sqlite3_stmt* statement_;
};

}  // namespace

void HistoryReader::Close::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

void HistoryReader::Close::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

HistoryReader::HistoryReader(std::filesystem::path path, Predicate hides)
    : path_(std::move(path)), hides_(std::move(hides)) {}

bool HistoryReader::isOpen() {
    int hasMoved = 0;
    // Another file may stand there by now.
    if (database_ && (sqlite3_file_control(database_.get(), nullptr, SQLITE_FCNTL_HAS_MOVED,
                                           &hasMoved) != SQLITE_OK ||
                      hasMoved == 0))
        return true;
    newest_.reset();
    application_.reset();
    database_.reset();
    sqlite3* database = nullptr;
    const int opened = sqlite3_open_v2(path_.c_str(), &database,
                                       SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    std::unique_ptr<sqlite3, Close> open(database);
    if (opened != SQLITE_OK)
        return false;
    newest_ = prepared(database, selectNewest);
    application_ = prepared(database, selectApplication);
    if (!newest_ || !application_)
        return false;
    database_ = std::move(open);
    return true;
}

HistoryReader::Statement HistoryReader::prepared(sqlite3* database, std::string_view sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()),
                       SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return Statement(statement);
}

void HistoryReader::readSession(std::string_view id) {
    auto* row = application_.get();
    const Used used(row);
    session_ = {.id = std::string(id), .appName = {}, .isHidden = false};
    sqlite3_bind_text(row, 1, session_.id.data(), static_cast<int>(session_.id.size()),
                      SQLITE_STATIC);
    if (sqlite3_step(row) != SQLITE_ROW)
        return;
    session_.appName = textOf(row, 1);
    session_.isHidden =
        hides_ && sqlite3_column_type(row, 0) != SQLITE_NULL && hides_(std::string(textOf(row, 0)));
}

bool HistoryReader::newest(int limit, std::optional<Calendar::UnixTime> after, const Take& take) {
    if (!isOpen())
        return false;
    auto* rows = newest_.get();
    const Used used(rows);
    session_ = {};
    sqlite3_bind_double(
        rows, 1,
        after ? after->time_since_epoch().count() : -std::numeric_limits<double>::infinity());
    int state = SQLITE_ROW;
    while (limit > 0 && (state = sqlite3_step(rows)) == SQLITE_ROW) {
        if (const auto session = textOf(rows, sessionID); session != session_.id)
            readSession(session);
        if (session_.isHidden)
            continue;
        if (!take(rowOf(rows, session_.appName)))
            return true;
        --limit;
    }
    return state == SQLITE_ROW || state == SQLITE_DONE;
}

}  // namespace quillet
