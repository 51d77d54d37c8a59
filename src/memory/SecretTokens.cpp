#include <algorithm>

#include "memory/SecretSearch.h"

namespace quillet {

namespace {

constexpr std::size_t shortestToken = 24;
/// Pieces that a token is made of when dots, slashes and the like part it.
constexpr std::size_t shortestPiece = 4;
/// Letters and digits for each change between them that sensible names have at least.
constexpr std::size_t sensibleStretch = 8;

/// Vowels above rare letters, in a hundred letters of words that are written in one.
constexpr int sensibleShare = 15;

bool isPieceCharacter(char32_t c) {
    return isAsciiLetter(c) || isAsciiDigit(c) || c == U'-' || c == U'_';
}

bool joinsPieces(char32_t c) {
    return c == U'.' || c == U'+' || c == U'/' || c == U'=' || c == U'~';
}

/// What a piece of letters, digits, hyphens and underscores is made of.
class Piece {
public:
    Piece(const ScreenedText& text, std::size_t begin, std::size_t end) {
        for (auto at = begin; at < end; ++at)
            take(text[at], at + 1 < end ? text[at + 1] : U'\0');
    }

    /// Whether no person would write it so.
    [[nodiscard]] bool isOdd() const {
        if (letters_ == 0)
            return false;
        const auto size = letters_ + digits_;
        if (size < shortestPiece)
            return digits_ > 0 || uppers_ > 0 || size == 1;
        if (isSenseless_ || (size >= shortestToken && digits_ > 0 && onlyHex_))
            return true;
        const std::size_t fewestChanges = size >= shortestToken ? 3 : 1;
        return changes_ >= fewestChanges && changes_ * sensibleStretch > size;
    }

private:
    enum class Kind { none, lower, upper, digit };

    void take(char32_t c, char32_t next) {
        const auto kind = kindOf(c);
        digits_ += kind == Kind::digit ? 1 : 0;
        letters_ += kind == Kind::lower || kind == Kind::upper ? 1 : 0;
        uppers_ += kind == Kind::upper ? 1 : 0;
        const auto lowered = c | 0x20;
        takeOfRun(kind, lowered, kindOf(next) != kind);
        onlyHex_ = onlyHex_ && (kind == Kind::none || kind == Kind::digit || lowered <= U'f');
        // A word may begin with a capital, also within a name: thatIsCommon.
        const bool beginsWord = kind == Kind::upper && isAsciiLower(next);
        const bool continuesWord = kind == Kind::lower && previous_ == Kind::upper;
        if (kind != Kind::none && previous_ != Kind::none && kind != previous_ && !beginsWord &&
            !continuesWord)
            ++changes_;
        previous_ = kind;
    }

    void takeOfRun(Kind kind, char32_t lowered, bool isLast) {
        constexpr std::u32string_view vowels = U"aeiou";
        constexpr std::u32string_view rareLetters = U"jkqvwxz";
        if (kind != previous_) {
            run_ = 0;
            vowelsAboveRare_ = 0;
        }
        ++run_;
        vowelsAboveRare_ += vowels.contains(lowered) ? 1 : rareLetters.contains(lowered) ? -1 : 0;
        const bool isLetter = kind == Kind::lower || kind == Kind::upper;
        if (isLast && isLetter && run_ >= shortestToken)
            isSenseless_ =
                isSenseless_ || 100 * vowelsAboveRare_ < sensibleShare * static_cast<int>(run_);
    }

    static Kind kindOf(char32_t c) {
        if (isAsciiDigit(c))
            return Kind::digit;
        if (isAsciiUpper(c))
            return Kind::upper;
        return isAsciiLower(c) ? Kind::lower : Kind::none;
    }

    std::size_t letters_ = 0;
    std::size_t uppers_ = 0;
    std::size_t digits_ = 0;
    std::size_t changes_ = 0;  ///< between small letters, capitals and digits
    std::size_t run_ = 0;      ///< of small letters or of capitals
    int vowelsAboveRare_ = 0;  ///< in this run
    bool isSenseless_ = false;
    bool onlyHex_ = true;
    Kind previous_ = Kind::none;
};

/// Odd pieces that follow one another.
class Token {
public:
    explicit Token(ScreenedText& text) : text_(text) {}

    void add(std::size_t begin, std::size_t end) {
        if (size_ == 0)
            begin_ = begin;
        size_ += end - begin;
        end_ = end;
    }
    [[nodiscard]] std::size_t end() const { return end_; }
    void close() {
        if (size_ >= shortestToken) {
            while (text_[end_] == U'=')
                ++end_;
            text_.hide(begin_, end_);
        }
        size_ = 0;
    }

private:
    ScreenedText& text_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t size_ = 0;  ///< of its pieces
};

}  // namespace

void hideLongTokens(ScreenedText& text) {
    Token token(text);
    for (std::size_t at = 0; at < text.size();) {
        if (!isPieceCharacter(text[at])) {
            if (!joinsPieces(text[at]) || token.end() + 1 < at)
                token.close();
            ++at;
            continue;
        }
        const auto begin = at;
        while (isPieceCharacter(text[at]))
            ++at;
        if (Piece(text, begin, at).isOdd())
            token.add(begin, at);
        else
            token.close();
    }
    token.close();
}

}  // namespace quillet
