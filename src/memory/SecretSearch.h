#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// A text in which secrets are looked for, character by character. Full-width forms look like the
/// plain ones, other digits like 0 to 9, and all kinds of blanks and hyphens like one.
class ScreenedText {
public:
    explicit ScreenedText(std::string_view text);

    [[nodiscard]] std::size_t size() const { return characters_.size(); }
    /// 0 past the end.
    [[nodiscard]] char32_t operator[](std::size_t at) const {
        return at < characters_.size() ? characters_[at].c : U'\0';
    }

    void hide(std::size_t begin, std::size_t end);
    [[nodiscard]] bool hidesAnything() const { return hidesAnything_; }
    /// Whether a letter or a digit is left that is not hidden.
    [[nodiscard]] bool saysAnything() const;
    /// With one mark for each run that is hidden.
    [[nodiscard]] std::string shown(std::string_view mark) const;

private:
    struct Character {
        char32_t c;
        std::size_t begin;  ///< its first byte
        bool hidden = false;
    };
    std::string_view text_;
    std::vector<Character> characters_;
    bool hidesAnything_ = false;
};

// All of these take time in proportion to the text.

/// Runs of digits of the length of a card or an identity number, also in groups.
void hideCardNumbers(ScreenedText& text);
/// Keys, hashes and the like: long runs of letters and digits in no sensible order.
void hideLongTokens(ScreenedText& text);
/// What is given as the value of a password, a code, a key or a token.
void hideNamedSecrets(ScreenedText& text);

[[nodiscard]] constexpr bool isAsciiDigit(char32_t c) {
    return c >= U'0' && c <= U'9';
}
[[nodiscard]] constexpr bool isAsciiUpper(char32_t c) {
    return c >= U'A' && c <= U'Z';
}
[[nodiscard]] constexpr bool isAsciiLower(char32_t c) {
    return c >= U'a' && c <= U'z';
}
[[nodiscard]] constexpr bool isAsciiLetter(char32_t c) {
    return isAsciiUpper(c) || isAsciiLower(c);
}

}  // namespace quillet
