#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace quillet {

/// Something a text is about: a word of any script by its first letters, so that "discounts" and
/// "discount" are one, or two Chinese characters that stand side by side. Equal terms are equal
/// numbers.
using Term = std::uint64_t;

/// Appends a text's terms, repeated ones as well. Words that any text may hold ("the", "我们") and
/// numbers are none. Much faster than parting the text with dictionaries. Takes any bytes.
void appendTerms(std::string_view text, std::vector<Term>& terms);

}  // namespace quillet
