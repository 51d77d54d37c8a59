#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

#include <optional>
#include <string>

#include "store/TranscriptEntry.h"

/// How the history's columns are read and bound.
namespace quillet {

[[nodiscard]] double stored(Calendar::UnixTime time);
[[nodiscard]] Calendar::UnixTime timeOf(const SQLite::Column& column);
[[nodiscard]] std::optional<std::string> optionalText(const SQLite::Column& column);
void bindOptional(SQLite::Statement& statement, int index, const std::optional<std::string>& text);

/// What every statement that reads entries selects: "SELECT …, FROM transcript_entries e LEFT JOIN
/// sessions s". The sessions are looked up for the rows that are kept only.
inline constexpr const char* selectEntries =
    "SELECT e.id, e.session_id, e.timestamp, e.raw_text, e.final_text, e.was_cancelled, "
    "COALESCE(s.app_display_name, s.app_bundle_id), e.replaces, s.app_bundle_id, e.kind FROM "
    "transcript_entries e LEFT JOIN sessions s ON s.id = e.session_id";
[[nodiscard]] TranscriptEntry entryOf(const SQLite::Statement& row);

/// The columns that `sessionOf` reads, of a session `s`; behind them stands the count of its
/// entries.
inline constexpr const char* sessionColumns =
    "s.id, s.started_at, s.ended_at, s.app_bundle_id, s.app_display_name, s.summary, s.tags";
[[nodiscard]] VSession sessionOf(const SQLite::Statement& row);

/// Tags as they are stored; none where there are none.
[[nodiscard]] std::optional<std::string> storedTags(const VSession& session);

}  // namespace quillet
