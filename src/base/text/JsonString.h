#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Appends a text as a JSON string, quotes and all. Malformed UTF-8 becomes U+FFFD. Quick, for
/// replies that are mostly text.
void appendJsonString(std::string& json, std::string_view text);

/// The same where the JSON that is written stands in a JSON string itself.
void appendNestedJsonString(std::string& json, std::string_view text);

}  // namespace quillet
