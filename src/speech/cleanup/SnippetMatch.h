#pragma once

#include <span>
#include <string_view>

#include "settings/QuilletSettings.h"

namespace quillet {

/// The snippet that a transcript asks for by saying its trigger alone or after one command word
/// ("插入", "insert", …); none when it merely mentions one. The result points into `snippets`.
[[nodiscard]] const Snippet* matchSnippet(std::string_view transcript,
                                          std::span<const Snippet> snippets);

}  // namespace quillet
