#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "meetings/MeetingNote.h"

namespace quillet {

/// The chat body that has the notes of a meeting written. `profile` is what is remembered of the
/// user; it may be empty.
[[nodiscard]] nlohmann::json meetingNotesRequest(std::string_view model,
                                                 std::string_view transcript,
                                                 std::string_view profile);

/// The language that a transcript's notes are written in, as the prompt says it.
[[nodiscard]] std::string_view notesLanguage(std::string_view transcript);
[[nodiscard]] bool isMostlyEnglish(std::string_view text);

/// None when the reply holds no JSON object. Parts of another type than asked for are left out.
[[nodiscard]] std::optional<MeetingNote::Summary> readSummary(std::string_view reply);

}  // namespace quillet
