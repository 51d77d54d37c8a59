#include "base/text/TextDifference.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

namespace quillet {

namespace {

/// More changes than this are not told apart: the search takes their square.
constexpr int mostChanges = 1'000;

enum class Part { word, blank, character };

struct Token {
    std::string_view text;
    Part part = Part::character;
};
using Tokens = std::vector<Token>;

Part partOf(std::string_view character) {
    std::size_t at = 0;
    UChar32 c = 0;
    U8_NEXT(character.data(), at, character.size(), c);
    if (c < 0)
        return Part::character;
    if (u_isUWhiteSpace(c))
        return Part::blank;
    UErrorCode status = U_ZERO_ERROR;
    const auto script = uscript_getScript(c, &status);
    const bool standsAlone =
        script == USCRIPT_HAN || script == USCRIPT_HIRAGANA || script == USCRIPT_KATAKANA;
    return u_isalnum(c) && !standsAlone ? Part::word : Part::character;
}

/// "it's" and "3.5" are one word.
bool joins(std::string_view sign) {
    return sign == "'" || sign == "’" || sign == "." || sign == "," || sign == "-" || sign == "_";
}

/// What readers call characters.
Tokens charactersOf(std::string_view text) {
    Tokens characters;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, decltype(&utext_close)> source(
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status),
        utext_close);
    const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status))
        return {{text, Part::character}};
    breaks->setText(source.get(), status);
    std::size_t begin = 0;
    for (auto end = breaks->next(); end != icu::BreakIterator::DONE; end = breaks->next()) {
        const auto one = text.substr(begin, static_cast<std::size_t>(end) - begin);
        characters.push_back({one, partOf(one)});
        begin = static_cast<std::size_t>(end);
    }
    return characters;
}

Token joined(const Token& first, const Token& second) {
    return {{first.text.data(), first.text.size() + second.text.size()}, first.part};
}

Tokens tokensOf(std::string_view text) {
    const auto characters = charactersOf(text);
    Tokens tokens;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        const auto& one = characters[i];
        const bool isAfterWord = !tokens.empty() && tokens.back().part == Part::word;
        const bool isWithinWord = isAfterWord && joins(one.text) && i + 1 < characters.size() &&
                                  characters[i + 1].part == Part::word;
        const bool goesOn = !tokens.empty() && one.part != Part::character &&
                            tokens.back().part == one.part && one.part == Part::word;
        if (isWithinWord || goesOn)
            tokens.back() = joined(tokens.back(), one);
        else
            tokens.push_back(one);
    }
    return tokens;
}

/// Which tokens of two texts are kept, by the shortest way from one to the other (Myers' greedy
/// algorithm).
class Comparison {
public:
    Comparison(const Tokens& before, const Tokens& after)
        : before_(before),
          after_(after),
          keptBefore_(before.size(), false),
          keptAfter_(after.size(), false) {
        for (; begin_ < std::min(before.size(), after.size()) && isSame(begin_, begin_); ++begin_)
            keep(begin_, begin_);
        endBefore_ = before.size();
        endAfter_ = after.size();
        while (endBefore_ > begin_ && endAfter_ > begin_ && isSame(endBefore_ - 1, endAfter_ - 1))
            keep(--endBefore_, --endAfter_);
        if (const auto changes = search())
            goBack(*changes);
        slideOverBlanks(before_, keptBefore_);
        slideOverBlanks(after_, keptAfter_);
        dropLoneBlanks();
    }

    [[nodiscard]] const std::vector<bool>& keptBefore() const { return keptBefore_; }
    [[nodiscard]] const std::vector<bool>& keptAfter() const { return keptAfter_; }

private:
    using Reach = std::vector<int>;  // how far each diagonal got in `before`

    [[nodiscard]] bool isSame(std::size_t x, std::size_t y) const {
        return before_[x].text == after_[y].text;
    }
    void keep(std::size_t x, std::size_t y) {
        keptBefore_[x] = true;
        keptAfter_[y] = true;
    }
    [[nodiscard]] int height() const { return static_cast<int>(endAfter_ - begin_); }
    [[nodiscard]] int width() const { return static_cast<int>(endBefore_ - begin_); }
    [[nodiscard]] bool isSameBehind(int x, int y) const {
        return isSame(begin_ + static_cast<std::size_t>(x), begin_ + static_cast<std::size_t>(y));
    }

    /// The entry of diagonal `k`, of those from -d to d.
    static int& at(Reach& reach, int d, int k) { return reach[static_cast<std::size_t>(k + d)]; }

    /// How a diagonal is entered: by a token of `after` that was added, or one that was removed.
    struct Entrance {
        int x = 0;  // behind the change
        bool isAdded = false;
    };
    /// Of diagonal `k` with `d` changes, from where `d - 1` had got.
    static Entrance entrance(Reach& last, int d, int k) {
        if (k == -d || (k != d && at(last, d - 1, k - 1) < at(last, d - 1, k + 1)))
            return {at(last, d - 1, k + 1), true};
        return {at(last, d - 1, k - 1) + 1, false};
    }

    /// The number of changes; none when there are too many.
    std::optional<int> search() {
        for (int d = 0; d <= mostChanges; ++d) {
            Reach reach(static_cast<std::size_t>(2 * d + 1));
            for (int k = -d; k <= d; k += 2) {
                int x = d == 0 ? 0 : entrance(reached_.back(), d, k).x;
                while (x < width() && x - k < height() && x - k >= 0 && isSameBehind(x, x - k))
                    ++x;
                at(reach, d, k) = x;
                if (x >= width() && x - k >= height()) {
                    reached_.push_back(std::move(reach));
                    return d;
                }
            }
            reached_.push_back(std::move(reach));
        }
        return std::nullopt;
    }

    void goBack(int changes) {
        int x = width();
        int y = height();
        for (int d = changes; d > 0; --d) {
            const auto start = entrance(reached_[static_cast<std::size_t>(d - 1)], d, x - y);
            for (; x > start.x; --x, --y)
                keepBehind(x - 1, y - 1);
            --(start.isAdded ? y : x);
        }
        for (; x > 0; --x, --y)
            keepBehind(x - 1, y - 1);
    }
    void keepBehind(int x, int y) {
        keep(begin_ + static_cast<std::size_t>(x), begin_ + static_cast<std::size_t>(y));
    }

    /// "it [is ]" is "it[ is] " as well, which joins it to a change of "it".
    static void slideOverBlanks(const Tokens& tokens, std::vector<bool>& kept) {
        for (std::size_t i = 0; i < tokens.size(); ++i) {
            if (!kept[i] || tokens[i].part != Part::blank || !isChangeAround(kept, i))
                continue;
            auto last = i + 1;
            while (last + 1 < kept.size() && !kept[last + 1])
                ++last;
            if (tokens[last].text == tokens[i].text) {
                kept[i] = false;
                kept[last] = true;
            }
        }
    }

    /// Blanks that stayed between words that did not would chop a change into pieces.
    void dropLoneBlanks() {
        std::size_t y = 0;
        for (std::size_t x = 0; x < before_.size(); ++x) {
            if (!keptBefore_[x])
                continue;
            while (!keptAfter_[y])
                ++y;
            if (before_[x].part == Part::blank && isChangeAround(keptBefore_, x) &&
                isChangeAround(keptAfter_, y))
                keptBefore_[x] = keptAfter_[y] = false;
            ++y;
        }
    }
    static bool isChangeAround(const std::vector<bool>& kept, std::size_t i) {
        return i > 0 && i + 1 < kept.size() && !kept[i - 1] && !kept[i + 1];
    }

    const Tokens& before_;
    const Tokens& after_;
    std::vector<bool> keptBefore_;
    std::vector<bool> keptAfter_;
    std::size_t begin_ = 0;  // behind what is the same at the beginning
    std::size_t endBefore_ = 0;
    std::size_t endAfter_ = 0;
    std::vector<Reach> reached_;
};

/// The tokens from `i` on that are kept or not, as one text; `i` is set behind them.
std::string_view run(const Tokens& tokens, std::size_t& i, std::size_t count) {
    if (count == 0)
        return {};
    const auto& first = tokens[i].text;
    i += count;
    const auto& last = tokens[i - 1].text;
    return {first.data(), static_cast<std::size_t>(last.data() + last.size() - first.data())};
}

std::size_t countFrom(const std::vector<bool>& kept, std::size_t i, bool which) {
    std::size_t count = 0;
    while (i + count < kept.size() && kept[i + count] == which)
        ++count;
    return count;
}

}  // namespace

TextDifference::TextDifference(std::string_view before, std::string_view after) {
    const auto old = tokensOf(before);
    const auto young = tokensOf(after);
    const Comparison comparison(old, young);
    const auto add = [this](Kind kind, std::string_view text) {
        if (!text.empty())
            pieces_.push_back({kind, text});
    };
    for (std::size_t x = 0, y = 0; x < old.size() || y < young.size();) {
        add(Kind::removed, run(old, x, countFrom(comparison.keptBefore(), x, false)));
        add(Kind::added, run(young, y, countFrom(comparison.keptAfter(), y, false)));
        const auto same = std::min(countFrom(comparison.keptBefore(), x, true),
                                   countFrom(comparison.keptAfter(), y, true));
        (void)run(old, x, same);
        add(Kind::same, run(young, y, same));
    }
}

bool TextDifference::isNone() const {
    return std::ranges::all_of(pieces_,
                               [](const Piece& piece) { return piece.kind == Kind::same; });
}

}  // namespace quillet
