#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// Becomes another program of ours, with these words behind its name. Returns only when that is not
/// possible: with a sentence on it.
[[nodiscard]] std::string becomeProgram(std::string_view name, std::vector<std::string> words);

}  // namespace quillet
