#include "meetings/MarkdownText.h"

#include <algorithm>

namespace quillet {

namespace {

constexpr std::string_view blanks = " \t";

std::string_view withoutBlanks(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    return line.substr(0, line.find_last_not_of(blanks) + 1);
}

/// How many bytes the mark of a quote or of a list's item takes; 0 for other texts.
std::size_t markLength(std::string_view text) {
    if (text.starts_with('>'))
        return 1;
    const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const auto marks = std::string_view(digits > 0 ? ".)" : "-*+");
    const auto rest = text.substr(digits);
    const bool isMark = rest.size() > 1 && marks.contains(rest.front()) && blanks.contains(rest[1]);
    return isMark ? digits + 1 : 0;
}

bool beginsBlock(std::string_view text) {
    const bool underlines = text.find_first_not_of(text.front()) == std::string_view::npos &&
                            (text.front() == '=' || text.front() == '-');
    return underlines || text.starts_with('#') || text.starts_with('<') ||
           text.starts_with("```") || text.starts_with("~~~") ||
           (text.starts_with('[') && text.contains("]:"));
}

std::string guardedLine(std::string_view line) {
    auto text = withoutBlanks(line);
    while (!text.empty() && !beginsBlock(text)) {
        const auto mark = markLength(text);
        if (mark == 0)
            return std::string(line);
        text = withoutBlanks(text.substr(mark));
    }
    std::string guarded(line);
    if (!text.empty())
        guarded.insert(static_cast<std::size_t>(text.data() - line.data()), 1, '\\');
    return guarded;
}

}  // namespace

std::string insideSection(std::string_view markdown) {
    std::string result;
    while (true) {
        const auto lineEnd = markdown.find_first_of("\r\n");
        result += guardedLine(markdown.substr(0, lineEnd));
        if (lineEnd == std::string_view::npos)
            return result;
        result += '\n';
        markdown.remove_prefix(lineEnd + (markdown.substr(lineEnd).starts_with("\r\n") ? 2 : 1));
    }
}

}  // namespace quillet
