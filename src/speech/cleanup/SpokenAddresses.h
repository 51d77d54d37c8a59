#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Writes spoken web and e-mail addresses as addresses: "example dot com slash docs",
/// "li 点 ming 艾特 example 点 cn". What is no address with a known ending stays as it was said.
[[nodiscard]] std::string rewriteSpokenAddresses(std::string_view text);

}  // namespace quillet
