#include "store/HistorySearch.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <variant>

#include "base/text/Text.h"
#include "store/HistoryConnection.h"
#include "store/HistoryRows.h"

namespace quillet {

namespace {

constexpr int unlimited = -1;
/// How many steps of SQLite's machine lie between two looks whether to stop: some 0.1 ms.
constexpr int stepsBetweenLooks = 5'000;

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

/// The conditions of a statement, with what is bound to their question marks.
class Conditions {
public:
    using Value = std::variant<std::string, double>;

    void add(std::string condition, std::vector<Value> values = {}) {
        conditions_.push_back(std::move(condition));
        std::ranges::move(values, std::back_inserter(values_));
    }
    [[nodiscard]] std::string sql() const {
        return conditions_.empty() ? "1" : fmt::format("{}", fmt::join(conditions_, " AND "));
    }
    /// The number of the next question mark.
    int bindTo(SQLite::Statement& statement) const {
        int index = 1;
        for (const auto& value : values_)
            std::visit([&](const auto& one) { statement.bind(index++, one); }, value);
        return index;
    }

private:
    std::vector<std::string> conditions_;
    std::vector<Value> values_;
};

void addTimes(Conditions& conditions, const HistoryFilter& filter) {
    if (filter.from)
        conditions.add("e.timestamp >= ?", {stored(*filter.from)});
    if (filter.after)
        conditions.add("e.timestamp - ? > 0.001", {stored(*filter.after)});
    if (filter.until)
        conditions.add("e.timestamp <= ?", {stored(*filter.until)});
    if (filter.before) {
        const auto time = stored(filter.before->timestamp);
        // The first comparison is what the index is for.
        conditions.add("e.timestamp <= ? AND (e.timestamp < ? OR e.id < ?)",
                       {time, time, filter.before->id});
    }
}

void addApplication(Conditions& conditions, const std::string& application) {
    // SQLite itself knows the case of ASCII letters only.
    const bool isFolded = !isAscii(application);
    std::vector<Conditions::Value> values{application, application};
    if (isFolded)
        values.emplace_back(caseFolded(application));
    // A list that is made once, and the sign against its being what is walked through: the order
    // of time is worth more.
    conditions.add(fmt::format("+e.session_id IN (SELECT id FROM sessions WHERE app_bundle_id = ? "
                               "COLLATE NOCASE OR app_display_name = ? COLLATE NOCASE{})",
                               isFolded ? " OR folded(app_display_name) = ?" : ""),
                   std::move(values));
}

Conditions conditionsOf(const HistoryFilter& filter) {
    Conditions conditions;
    addTimes(conditions, filter);
    if (filter.session)
        conditions.add("e.session_id = ?", {*filter.session});
    if (!filter.kinds.empty()) {
        std::vector<Conditions::Value> names;
        for (const auto kind : filter.kinds)
            names.emplace_back(std::string(storedName(kind)));
        const std::vector<std::string_view> marks(names.size(), "?");
        conditions.add(fmt::format("e.kind IN ({})", fmt::join(marks, ",")), std::move(names));
    }
    if (filter.application)
        addApplication(conditions, *filter.application);
    if (filter.text) {
        const auto pattern = likePattern(*filter.text);
        conditions.add(R"((e.final_text LIKE ? ESCAPE '\' OR e.raw_text LIKE ? ESCAPE '\'))",
                       {pattern, pattern});
    }
    if (!filter.words.empty())
        conditions.add("holds_words(e.final_text, e.raw_text)");
    return conditions;
}

/// A long word is seldom there, so that the others need not be looked for.
std::vector<CaselessWord> longestFirst(std::vector<std::string> words) {
    std::ranges::sort(words, std::ranges::greater{}, &std::string::size);
    return {words.begin(), words.end()};
}

/// Has a database give its statement up soon after it is told to stop.
class Interruption {
public:
    Interruption(SQLite::Database& db, const std::stop_token& stop) : db_(db), stop_(stop) {
        sqlite3_progress_handler(
            db_.getHandle(), stepsBetweenLooks,
            [](void* token) {
                return static_cast<const std::stop_token*>(token)->stop_requested() ? 1 : 0;
            },
            &stop_);
    }
    ~Interruption() { sqlite3_progress_handler(db_.getHandle(), 0, nullptr, nullptr); }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

private:
    SQLite::Database& db_;
    std::stop_token stop_;
};

std::vector<TranscriptEntry> found(const HistoryConnection& connection, SQLite::Statement& rows,
                                   int limit) {
    std::vector<TranscriptEntry> entries;
    while (std::cmp_less(entries.size(), limit) && rows.executeStep()) {
        auto entry = entryOf(rows);
        if (!connection.isHidden(entry.appBundleID))
            entries.push_back(std::move(entry));
    }
    return entries;
}

}  // namespace

std::vector<TranscriptEntry> searchHistory(HistoryConnection& connection, SQLite::Database& db,
                                           const HistoryFilter& filter,
                                           const std::stop_token& stop) {
    if (stop.stop_requested())
        return {};
    const auto conditions = conditionsOf(filter);
    connection.words = longestFirst(filter.words);
    SQLite::Statement rows(
        db, fmt::format("{} WHERE {} ORDER BY e.timestamp DESC, e.id DESC LIMIT ?;", selectEntries,
                        conditions.sql()));
    // What is hidden does not count towards the limit.
    rows.bind(conditions.bindTo(rows), connection.rules.hides ? unlimited : filter.limit);
    const Interruption interruption(db, stop);
    try {
        return found(connection, rows, filter.limit);
    } catch (const SQLite::Exception& error) {
        if (error.getErrorCode() != SQLITE_INTERRUPT)
            throw;
        return {};
    }
}

}  // namespace quillet
