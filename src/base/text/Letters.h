#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

enum class CharacterKind : std::uint8_t {
    upper,
    lower,
    han,
    letter,  ///< of another script that knows no case
    digit,
    other,
};

/// The kinds of a text's code points.
[[nodiscard]] std::vector<CharacterKind> characterKinds(std::string_view text);

/// The text in plain Latin letters, lower case: Han as pinyin without tones, other scripts as ICU
/// writes them, accents dropped. What cannot be written so stays. The first call takes a while.
[[nodiscard]] std::string romanised(std::string_view text);

/// The text without digits and without the characters that write a number in Han.
[[nodiscard]] std::string withoutNumbers(std::string_view text);

}  // namespace quillet
