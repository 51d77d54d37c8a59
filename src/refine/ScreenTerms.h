#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// The names and terms in a text that was read off a window: what is written like a name inside a
/// sentence, like an abbreviation, or like an identifier. Each once, in the order in which they
/// come, the last `most` of them.
[[nodiscard]] std::vector<std::string> screenTerms(std::string_view text, std::size_t most);

}  // namespace quillet
