#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// The names in a text as a user types it, with commas or blanks between them; each once.
[[nodiscard]] std::vector<std::string> keyNamesIn(std::string_view typed);
[[nodiscard]] std::string joinedKeyNames(const std::vector<std::string>& names);

}  // namespace quillet
