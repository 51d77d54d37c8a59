#pragma once

#include <cstddef>

#include "memory/SecretSearch.h"

namespace quillet {

// How the values of passwords, codes and keys look in a text.

struct TextRange {
    std::size_t begin;
    std::size_t end;
    [[nodiscard]] std::size_t size() const { return end - begin; }
};

/// Visible ASCII characters in a row from here on, up to one that ends them, without marks at their
/// end. A long one is cut.
[[nodiscard]] TextRange tokenAt(const ScreenedText& text, std::size_t begin,
                                char32_t endMark = U'\0');

/// Whether nobody would say a token but as a value: it holds a digit or a sign, and is no year, sum
/// or count.
[[nodiscard]] bool looksLikeValue(const ScreenedText& text, TextRange token);
[[nodiscard]] bool isNumber(const ScreenedText& text, TextRange token);
/// Whether a number is followed by what it counts.
[[nodiscard]] bool hasUnit(const ScreenedText& text, TextRange number);
/// A year, or longer than a code: a phone or an order number.
[[nodiscard]] bool isOrdinaryNumber(const ScreenedText& text, TextRange token);
/// A number that may be sent to be typed: of 4 to 8 digits, and no year or count.
[[nodiscard]] bool isCode(const ScreenedText& text, TextRange token);

struct CharacterKinds {
    bool letters = false;
    bool digits = false;
    bool signs = false;  ///< that stand in passwords, and seldom in words
};
[[nodiscard]] CharacterKinds kindsIn(const ScreenedText& text, TextRange token);

/// Past a blank or a hyphen.
[[nodiscard]] std::size_t afterGap(const ScreenedText& text, std::size_t at);
[[nodiscard]] bool endsClause(const ScreenedText& text, std::size_t at);
/// Where a value of several words ends: with its clause, or after as many words as one has.
[[nodiscard]] std::size_t phraseEnd(const ScreenedText& text, std::size_t at);

}  // namespace quillet
