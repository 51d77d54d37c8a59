#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "base/text/Words.h"

namespace quillet {

/// A text, which must outlive it, and its words.
struct WordedText {
    explicit WordedText(std::string_view whole) : text(whole), words(quillet::words(whole)) {}
    std::string_view text;
    std::vector<Word> words;
};

/// Some words in a row of a text, which must outlive it; maybe none. Only `text` may be asked then.
struct Stretch {
    const WordedText* source;
    std::size_t first;
    std::size_t last;  ///< one past

    [[nodiscard]] std::size_t size() const { return last - first; }
    [[nodiscard]] std::span<const Word> words() const {
        return std::span(source->words).subspan(first, size());
    }
    /// From the first to the last word, with what stands between them.
    [[nodiscard]] std::string_view text() const;
    [[nodiscard]] std::string_view textBefore() const;
    [[nodiscard]] std::string_view textAfter() const;
    [[nodiscard]] bool startsSentence() const;
};

/// A place where two texts differ in at least one word.
struct Change {
    Stretch pasted;
    Stretch edited;
};

/// The places where two texts differ, in order. What stands between words does not count. Texts
/// that differ in very many words differ in one place.
[[nodiscard]] std::vector<Change> changesBetween(const WordedText& pasted,
                                                 const WordedText& edited);

}  // namespace quillet
