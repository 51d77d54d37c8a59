#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/VocabularyDB.h"

namespace quillet {

/// Applies the user's corrections to a text, one entry after another: the longest original first,
/// then the more frequent, then in alphabetic order. What one entry wrote may be matched by a later
/// one. Case does not count.
///
/// An original of ASCII characters is matched as a whole word: neither neighbour may be a letter, a
/// digit or an underscore, where Han and kana, which are written without blanks, count as no
/// letters. Any other original is matched anywhere.
///
/// Only the entries that occur are looked at, so thousands cost little more than a few. Immutable,
/// and therefore safe to share between threads.
class VocabularyMatcher {
public:
    explicit VocabularyMatcher(std::span<const VocabEntry> entries);

    /// The corrected text; malformed UTF-8 in it becomes U+FFFD.
    [[nodiscard]] std::string apply(std::string_view text) const;

private:
    struct Rule {
        std::u32string folded;  ///< the original, without case
        std::u32string corrected;
        bool wholeWord = false;
    };
    class Pass;

    std::vector<Rule> rules_;  // in the order in which they are applied
    /// Rules by the first two characters of their original; the second is 0 where there is none.
    std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> byStart_;
    std::size_t longest_ = 0;
};

}  // namespace quillet
