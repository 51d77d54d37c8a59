#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The 32 hexadecimal digits of an account id, taken out of whatever the user pasted.
[[nodiscard]] std::optional<std::string> cloudflareAccountId(std::string_view pasted);

/// Stands in addresses for the account, until the address is used.
inline constexpr std::string_view accountPlaceholder = "ACCOUNT_ID";

/// An address with the account's id in the placeholder's place; none while the placeholder would
/// remain, for such an address is never sent.
[[nodiscard]] std::optional<std::string> resolvedAddress(std::string_view address,
                                                         std::string_view account);

}  // namespace quillet
