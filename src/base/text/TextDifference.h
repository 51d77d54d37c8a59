#pragma once

#include <string_view>
#include <vector>

namespace quillet {

/// What became of a text: word by word, or character by character where words are not parted by
/// blanks (Han and kana). As little as possible is said to have changed; texts of thousands of
/// words that have next to nothing in common are said to be different from end to end.
class TextDifference {
public:
    enum class Kind { same, removed, added };
    struct Piece {
        Kind kind = Kind::same;
        std::string_view text;  ///< a part of the text that was given; what is the same, of `after`
    };

    TextDifference(std::string_view before, std::string_view after);

    /// In order; never two of a kind in a row, and what was removed before what was added in its
    /// place. Without what was added they make `before`, without what was removed `after`.
    [[nodiscard]] const std::vector<Piece>& pieces() const { return pieces_; }
    [[nodiscard]] bool isNone() const;

private:
    std::vector<Piece> pieces_;
};

}  // namespace quillet
