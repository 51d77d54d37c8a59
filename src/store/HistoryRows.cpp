#include "store/HistoryRows.h"

#include <nlohmann/json.hpp>

namespace quillet {

namespace {

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

TranscriptEntry entryOf(const SQLite::Statement& row) {
    TranscriptEntry entry;
    entry.id = row.getColumn(0).getString();
    entry.sessionID = row.getColumn(1).getString();
    entry.timestamp = timeOf(row.getColumn(2));
    entry.rawText = row.getColumn(3).getString();
    entry.finalText = row.getColumn(4).getString();
    entry.wasCancelled = row.getColumn(5).getInt() != 0;
    entry.appName = optionalText(row.getColumn(6));
    entry.replaces = optionalText(row.getColumn(7));
    entry.appBundleID = optionalText(row.getColumn(8));
    entry.kind = kindStoredAs(row.getColumn(9).getString());
    return entry;
}

VSession sessionOf(const SQLite::Statement& row) {
    VSession session;
    session.id = row.getColumn(0).getString();
    session.startedAt = timeOf(row.getColumn(1));
    if (!row.getColumn(2).isNull())
        session.endedAt = timeOf(row.getColumn(2));
    session.appBundleID = optionalText(row.getColumn(3));
    session.appDisplayName = optionalText(row.getColumn(4));
    session.summary = optionalText(row.getColumn(5));
    session.tags = tagsOf(row.getColumn(6));
    session.entryCount = row.getColumn(7).getInt();
    return session;
}

std::optional<std::string> storedTags(const VSession& session) {
    return session.tags.empty() ? std::nullopt : std::optional(nlohmann::json(session.tags).dump());
}

}  // namespace quillet
