#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The 32 hexadecimal digits of an account id, taken out of whatever the user pasted.
[[nodiscard]] std::optional<std::string> cloudflareAccountId(std::string_view pasted);

}  // namespace quillet
