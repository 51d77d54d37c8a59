#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Markdown that somebody else wrote, fit to stand inside a section: none of its lines begins or
/// underlines a heading, opens a fence or HTML, or defines a link, also not in a list or a quote.
[[nodiscard]] std::string insideSection(std::string_view markdown);

}  // namespace quillet
