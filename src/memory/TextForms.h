#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillet {

// The forms in which the knowledge base compares and keeps texts. All take any bytes.

/// For comparing names: case-folded, full-width forms as their plain ones, no blanks.
[[nodiscard]] std::string nameForm(std::string_view text);

/// One line of at most so many characters: line breaks, control characters and runs of blanks are
/// one blank each, none at the ends.
[[nodiscard]] std::string oneLine(std::string_view text, std::size_t mostCharacters);

}  // namespace quillet
