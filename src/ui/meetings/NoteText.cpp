#include "ui/meetings/NoteText.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "base/text/Text.h"

namespace quillet {

namespace {

using std::chrono::seconds;

constexpr std::string_view transcriptHeading = "## 转写";
constexpr std::size_t longestNumber = 5;
constexpr int perMinute = 60;

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// "12:34" or "1:02:03".
std::optional<seconds> clockTime(std::string_view text) {
    seconds total{0};
    int parts = 0;
    while (true) {
        const auto end = std::min(text.find(':'), text.size());
        const auto number = text.substr(0, end);
        if (number.empty() || number.size() > longestNumber ||
            !std::ranges::all_of(number, isDigit))
            return std::nullopt;
        int value = 0;
        std::from_chars(number.data(), number.data() + number.size(), value);
        total = total * perMinute + seconds(value);
        ++parts;
        if (end == text.size())
            break;
        text.remove_prefix(end + 1);
    }
    return parts == 2 || parts == 3 ? std::optional(total) : std::nullopt;
}

NoteText::Line readLine(std::string_view line) {
    const auto close = line.find(']');
    if (line.starts_with('[') && close != std::string_view::npos) {
        if (const auto start = clockTime(line.substr(1, close - 1)))
            return {start, std::string(line.substr(0, close + 1)), trimmed(line.substr(close + 1))};
    }
    return {std::nullopt, {}, trimmed(line)};
}

}  // namespace

NoteText readNoteText(std::string_view markdown) {
    NoteText note;
    bool inTranscript = false;
    for (const auto line : linesOf(markdown)) {
        if (!inTranscript) {
            note.body.append(line).append("\n");
            inTranscript = trimmedView(line) == transcriptHeading;
        } else if (!trimmedView(line).empty()) {
            note.lines.push_back(readLine(line));
        }
    }
    return note;
}

std::optional<std::size_t> lineAt(const std::vector<NoteText::Line>& lines,
                                  std::chrono::milliseconds position) {
    // Both sides may speak at once, so that a line can begin before the one above it.
    std::optional<std::size_t> found;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].start && *lines[i].start <= position &&
            (!found || *lines[i].start >= *lines[*found].start))
            found = i;
    }
    return found;
}

std::string_view titleInName(std::string_view fileName) {
    constexpr std::string_view extension = ".md";
    constexpr std::string_view pattern = "dddd-dd-dd dd.dd ";
    if (fileName.ends_with(extension))
        fileName.remove_suffix(extension.size());
    const auto fits = [](char shown, char wanted) {
        return wanted == 'd' ? isDigit(shown) : shown == wanted;
    };
    if (fileName.size() > pattern.size() &&
        std::ranges::equal(fileName.substr(0, pattern.size()), pattern, fits))
        fileName.remove_prefix(pattern.size());
    return fileName;
}

}  // namespace quillet
