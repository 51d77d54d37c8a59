#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

// What a user's own edits of a dictated text teach. Pure functions; characters are what a user
// calls one.

/// The text just before and just after the place where a text was inserted.
struct InsertionAround {
    std::string before;
    std::string after;
    bool fromStart = false;  ///< nothing stood before `before`
    bool toEnd = false;      ///< nothing stood after `after`
};

/// How much of a field is kept to find a paste again, on either side, in characters.
inline constexpr std::size_t anchorCharacters = 40;

/// What stands now, in a field's text, where `pasted` was inserted; none when the place cannot be
/// found. `wholeStart` and `wholeEnd` say whether the field's text is whole on that side. Where
/// several places would do, the one is taken whose length comes nearest to that of the paste.
[[nodiscard]] std::optional<std::string> editedText(std::string_view fieldText, bool wholeStart,
                                                    bool wholeEnd, const InsertionAround& around,
                                                    std::string_view pasted);

struct WordPair {
    std::string original;
    std::string corrected;
    friend bool operator==(const WordPair&, const WordPair&) = default;
};

struct EditLesson {
    enum class Verdict {
        noEdit,       ///< the texts are the same
        suspicious,   ///< a line break came in, a changed word is oversize, or text was repeated
        muchLonger,   ///< rewritten
        muchShorter,  ///< still being edited
        edited,
    };
    Verdict verdict = Verdict::noEdit;
    std::vector<WordPair> pairs;  ///< of `edited`: what the vocabulary may learn; may be empty
};

/// Compares what was pasted with what the user made of it, word by word, whatever the languages.
/// Every pair meets the vocabulary's limits.
[[nodiscard]] EditLesson lessonOf(std::string_view pasted, std::string_view edited);

}  // namespace quillet
