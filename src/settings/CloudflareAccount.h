#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The 32 hexadecimal digits of an account id, taken out of whatever the user pasted.
[[nodiscard]] std::optional<std::string> cloudflareAccountId(std::string_view pasted);

/// Stands in an address where the user's account belongs.
inline constexpr std::string_view accountPlaceholder = "ACCOUNT_ID";

/// The address with the account's id in the placeholder's place; none while there is no id to put
/// there, for an address with the placeholder is never sent anything. Other addresses stay.
[[nodiscard]] std::optional<std::string> resolvedAddress(std::string_view address,
                                                         std::string_view account);

}  // namespace quillet
