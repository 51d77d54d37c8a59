#include "base/text/CaselessWord.h"

#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/utf8.h>

#include <algorithm>

namespace quillet {

namespace {

/// The code point at a byte, without case, and the byte behind it. Negative where there is none.
std::int32_t foldedAt(std::string_view text, std::size_t& at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
        ++at;
        return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
    }
    UChar32 c = 0;
    U8_NEXT(text.data(), at, text.size(), c);
    return c < 0 ? c : u_foldCase(c, U_FOLD_CASE_DEFAULT);
}

/// The first byte of the character that a byte belongs to; in malformed text, some byte nearby.
std::size_t beginOfCharacter(std::string_view text, std::size_t at) {
    const auto first = at < U8_MAX_LENGTH ? 0 : at - (U8_MAX_LENGTH - 1);
    while (at > first && U8_IS_TRAIL(text[at]))
        --at;
    return at;
}

/// The beginning of the character so many before the one that a byte belongs to.
std::optional<std::size_t> stepBack(std::string_view text, std::size_t at, std::size_t characters) {
    at = beginOfCharacter(text, at);
    for (; characters > 0; --characters) {
        if (at == 0)
            return std::nullopt;
        at = beginOfCharacter(text, at - 1);
    }
    return at;
}

/// How many of 1,000 letters of running text are this one, in English, roughly.
int frequencyOf(char lower) {
    constexpr std::string_view byFrequency = "etaoinshrdlcumwfgypbvkjxqz";
    constexpr int mostFrequent = 120;
    const auto rank = byFrequency.find(lower);
    return rank == std::string_view::npos ? mostFrequent / 4
                                          : mostFrequent / static_cast<int>(rank + 1);
}
/// From there the way back to where a match would begin is short.
constexpr std::size_t farthestAnchor = 32;
/// Of the bytes that end a longer character there are 64.
constexpr int trailFrequency = 15;

std::array<char, U8_MAX_LENGTH> bytesOf(UChar32 c, int& size) {
    std::array<char, U8_MAX_LENGTH> bytes{};
    size = 0;
    U8_APPEND_UNSAFE(bytes.data(), size, c);
    return bytes;
}

}  // namespace

/// The places of an anchor's bytes, one after another.
class CaselessWord::Occurrences {
public:
    Occurrences(std::string_view text, const Anchor& anchor) : text_(text), anchor_(anchor) {
        next_.fill(text.size());
        for (std::size_t i = 0; i < anchor.count; ++i)
            next_[i] = find(anchor.bytes[i], 0);
    }

    /// The text's size when there is none any more.
    std::size_t next() {
        const auto first = std::ranges::min_element(next_);
        const auto at = *first;
        if (at < text_.size())
            *first = find(anchor_.bytes[static_cast<std::size_t>(first - next_.begin())], at + 1);
        return at;
    }

private:
    [[nodiscard]] std::size_t find(char byte, std::size_t from) const {
        const auto at = text_.find(byte, from);
        return at == std::string_view::npos ? text_.size() : at;
    }

    std::string_view text_;
    const Anchor& anchor_;
    std::array<std::size_t, mostCases> next_{};
};

CaselessWord::CaselessWord(std::string_view word) {
    for (std::size_t at = 0; at < word.size();)
        folded_.push_back(foldedAt(word, at));
    // From a place within malformed text there is no way back to where a match would begin.
    const bool isWellFormed =
        std::ranges::none_of(folded_, [](std::int32_t character) { return character < 0; });
    for (std::size_t i = 0; isWellFormed && i < std::min(folded_.size(), farthestAnchor); ++i)
        chooseAnchor(i, folded_[i]);
    if (!anchor_)
        noteBeginnings();
}

void CaselessWord::chooseAnchor(std::size_t before, std::int32_t character) {
    icu::UnicodeSet cases(character, character);
    cases.closeOver(USET_CASE_INSENSITIVE);
    cases.removeAllStrings();
    if (std::cmp_greater(cases.size(), mostCases))
        return;
    Anchor anchor{.before = before};
    for (; std::cmp_less(anchor.count, cases.size()); ++anchor.count) {
        int size = 0;
        const auto bytes = bytesOf(cases.charAt(static_cast<std::int32_t>(anchor.count)), size);
        anchor.bytes[anchor.count] = bytes[static_cast<std::size_t>(size - 1)];
    }
    anchor.frequency = character < 0x80 ? frequencyOf(static_cast<char>(character))
                                        : trailFrequency * cases.size();
    if (!anchor_ || anchor.frequency < anchor_->frequency)
        anchor_ = anchor;
}

void CaselessWord::noteBeginnings() {
    if (folded_.empty() || folded_.front() < 0)
        return;
    icu::UnicodeSet first(folded_.front(), folded_.front());
    first.closeOver(USET_CASE_INSENSITIVE);
    for (int i = 0; i < first.getRangeCount(); ++i) {
        for (auto c = first.getRangeStart(i); c <= first.getRangeEnd(i); ++c) {
            int size = 0;
            begins_[static_cast<unsigned char>(bytesOf(c, size).front())] = true;
        }
    }
}

std::optional<std::size_t> CaselessWord::endOfMatch(std::string_view text,
                                                    std::size_t begin) const {
    auto at = begin;
    for (const auto wanted : folded_) {
        if (at >= text.size() || foldedAt(text, at) != wanted)
            return std::nullopt;
    }
    return at;
}

std::optional<CaselessWord::Place> CaselessWord::findIn(std::string_view text) const {
    return anchor_ ? findAnchored(text) : findByBeginning(text);
}

std::optional<CaselessWord::Place> CaselessWord::findAnchored(std::string_view text) const {
    Occurrences occurrences(text, *anchor_);
    for (auto at = occurrences.next(); at < text.size(); at = occurrences.next()) {
        const auto begin = stepBack(text, at, anchor_->before);
        if (!begin)
            continue;
        if (const auto end = endOfMatch(text, *begin))
            return Place{*begin, *end};
    }
    return std::nullopt;
}

std::optional<CaselessWord::Place> CaselessWord::findByBeginning(std::string_view text) const {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!begins_[static_cast<unsigned char>(text[at])])
            continue;
        if (const auto end = endOfMatch(text, at))
            return Place{at, *end};
    }
    return std::nullopt;
}

std::vector<std::string> queryWords(std::string_view query) {
    std::vector<std::string> words;
    bool inWord = false;
    for (std::size_t at = 0; at < query.size();) {
        const auto begin = at;
        UChar32 c = 0;
        U8_NEXT(query.data(), at, query.size(), c);
        const bool isBlank = c >= 0 && u_isUWhiteSpace(c);
        if (!isBlank && !inWord)
            words.emplace_back();
        if (!isBlank)
            words.back() += query.substr(begin, at - begin);
        inWord = !isBlank;
    }
    return words;
}

}  // namespace quillet
