#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// A word that is looked for in many texts, whatever its case and theirs. One letter stands for one
/// letter: "ß" is found as "ẞ", but not as "ss". Takes any bytes; costs a fraction of a nanosecond
/// a byte where the word has a plain letter, a digit or a Han character, about a nanosecond
/// otherwise, and no memory.
class CaselessWord {
public:
    /// A part of a text, in bytes.
    struct Place {
        std::size_t begin = 0;
        std::size_t end = 0;
    };

    explicit CaselessWord(std::string_view word);

    /// Where a text first holds the word; an empty word is nowhere.
    [[nodiscard]] std::optional<Place> findIn(std::string_view text) const;
    [[nodiscard]] bool isIn(std::string_view text) const { return findIn(text).has_value(); }

private:
    /// A character that is looked for first, by a byte that it has in every case: its last one.
    struct Anchor {
        std::size_t before = 0;  // characters of the word that stand before it
        char lower = 0;
        char upper = 0;  // the same where there is but one case
        int frequency = 0;
    };
    class Occurrences;

    void chooseAnchor(std::size_t before, std::int32_t character);
    void noteBeginnings();
    [[nodiscard]] std::optional<Place> findAnchored(std::string_view text) const;
    [[nodiscard]] std::optional<Place> findByBeginning(std::string_view text) const;
    [[nodiscard]] std::optional<std::size_t> endOfMatch(std::string_view text,
                                                        std::size_t begin) const;

    std::vector<std::int32_t> folded_;  // its code points, without case
    std::optional<Anchor> anchor_;
    std::array<bool, 256> begins_{};  // bytes with which it may begin; without an anchor only
};

/// The words of a query: what stands between white space, of any script.
[[nodiscard]] std::vector<std::string> queryWords(std::string_view query);

}  // namespace quillet
