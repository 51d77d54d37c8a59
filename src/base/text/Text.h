#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// Without white space and line breaks at either end (Unicode's White_Space, which includes
/// U+3000 and U+0085). Invalid UTF-8 is kept as it is.
[[nodiscard]] std::string trimmed(std::string_view text);
/// The same as a part of the given text.
[[nodiscard]] std::string_view trimmedView(std::string_view text);

/// ASCII letters in lower case; everything else as it is.
[[nodiscard]] std::string asciiLowered(std::string_view text);

/// Traditional Chinese characters replaced by Simplified ones (ICU's Hant-Hans, phrase rules and
/// all). If the conversion fails the text is returned as it was. The first call takes about 20 ms.
[[nodiscard]] std::string toSimplifiedChinese(std::string_view text);

/// The form in which texts are searched whatever their case.
[[nodiscard]] std::string caseFolded(std::string_view text);

/// The lines of a text, without their ends; parts of the given text.
[[nodiscard]] std::vector<std::string_view> linesOf(std::string_view text);

/// The form in which two texts are compared: Traditional folded to Simplified, lower case, without
/// white space, punctuation and symbols.
[[nodiscard]] std::string comparisonForm(std::string_view text);

/// Whether the text is well-formed UTF-8.
[[nodiscard]] bool isValidUtf8(std::string_view text);

/// Replaces every malformed sequence by U+FFFD.
[[nodiscard]] std::string withValidUtf8(std::string_view text);

// A character is what a user calls one: an extended grapheme cluster.

[[nodiscard]] std::size_t characterCount(std::string_view text);

/// The first characters of a text, all of it when it has no more.
[[nodiscard]] std::string_view firstCharacters(std::string_view text, std::size_t count);
/// The last characters of a text, all of it when it has no more.
[[nodiscard]] std::string_view lastCharacters(std::string_view text, std::size_t count);
/// The first characters of a text, with "…" where more follow.
[[nodiscard]] std::string shortened(std::string_view text, std::size_t count);

}  // namespace quillet
