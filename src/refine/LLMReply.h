#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The text of a chat-completions response, freed of what models wrap around it: a reasoning block
/// in front, a code fence, a list number that was begun and never written. None for a response that
/// holds no text, was cut off, or is reasoning without an end. May be empty. Takes any bytes.
[[nodiscard]] std::optional<std::string> parseReply(std::string_view response);

}  // namespace quillet
