#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace quillet {

/// A part of the text that was given.
struct Word {
    std::string_view text;
    std::size_t position;  ///< its first byte

    [[nodiscard]] std::size_t end() const { return position + text.size(); }
};

/// The words of a text in any language, in order; languages written without blanks are parted with
/// ICU's dictionaries. A word holds a letter or a digit; blanks, punctuation and emoji are none.
///
/// What people read as one word is one: "it's", "node.js", "snake_case" and "a@b.org", parts with
/// a hyphen between them ("e-mail", "GPT-4"; not between Han or kana), and signs that close a name
/// ("C++", "C#").
[[nodiscard]] std::vector<Word> words(std::string_view text);

}  // namespace quillet
