#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// Whether marks that end a text go with the white space: a short text is a name, a search term or
/// a word of assent, and gets none.
enum class TrailingMarks { keep, drop };

/// Marks and blanks as a writer would set them in text that mixes Chinese and English: commas that
/// only tell of pauses go, Chinese takes full-width marks, and no blanks stand around those. White
/// space at both ends goes.
///
/// Total on any bytes: malformed UTF-8 becomes U+FFFD.
[[nodiscard]] std::string normalisePunctuation(std::string_view text, TrailingMarks trailing);

/// Only what concerns full-width marks and blanks beside Chinese; nothing at the ends is trimmed.
/// Text without Chinese stays as it is.
[[nodiscard]] std::string normaliseSpacing(std::string_view text);

/// White space at both ends goes; with `drop` also commas at the end, and a full stop after a
/// single Latin word or a short text.
[[nodiscard]] std::string trimEnds(std::string_view text, TrailingMarks trailing);

/// Without control characters other than tabs and line breaks: they say nothing to a reader and can
/// command a terminal.
[[nodiscard]] std::string withoutControls(std::string_view text);

/// Whether a text is too short for marks at its end: one line of at most 12 characters, or of at
/// most 3 words without Chinese.
[[nodiscard]] bool isShort(std::string_view text);

}  // namespace quillet
