#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// What stands in the place of a secret.
inline constexpr std::string_view secretMark = "[…]";

/// The text with secrets replaced by `secretMark`: card numbers, long tokens, and what follows a
/// word for a secret. None when nothing else is left of it, so that it need not be sent at all.
[[nodiscard]] std::optional<std::string> withoutSecrets(std::string_view text);

}  // namespace quillet
