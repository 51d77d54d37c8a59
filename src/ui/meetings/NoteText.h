#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// A meeting note as it is shown: what was made of the meeting, and its transcript line by line.
struct NoteText {
    struct Line {
        std::optional<std::chrono::seconds> start;  ///< none: the user's own, not the transcript's
        std::string time;                           ///< "[12:34]"
        std::string text;                           ///< what stands behind it
        friend bool operator==(const Line&, const Line&) = default;
    };
    std::string body;  ///< Markdown, to the heading of the transcript
    std::vector<Line> lines;
};

[[nodiscard]] NoteText readNoteText(std::string_view markdown);

/// The line that is heard at a position of the meeting; none before the first one.
[[nodiscard]] std::optional<std::size_t> lineAt(const std::vector<NoteText::Line>& lines,
                                                std::chrono::milliseconds position);

/// The title in the file name of a note, without its date and time.
[[nodiscard]] std::string_view titleInName(std::string_view fileName);

}  // namespace quillet
