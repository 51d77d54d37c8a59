#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// The text on one line: line breaks and other control characters, however many in a row, become a
/// blank, and those at either end nothing. Invalid UTF-8 is kept as it is.
[[nodiscard]] std::string oneLine(std::string_view text);

}  // namespace quillet
