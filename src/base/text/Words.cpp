#include "base/text/Words.h"

#include <unicode/brkiter.h>
#include <unicode/ubrk.h>
#include <unicode/utext.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "base/text/Letters.h"

namespace quillet {

namespace {

struct Segment {
    std::size_t begin;
    std::size_t end;
    bool ideographic;  ///< Han or kana
};

bool holdsLetterOrDigit(std::string_view text) {
    return std::ranges::any_of(characterKinds(text),
                               [](CharacterKind kind) { return kind != CharacterKind::other; });
}

/// What ICU calls a word, without those that are underscores alone.
std::vector<Segment> segments(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, decltype(&utext_close)> source(
        utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status),
        utext_close);
    const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status) || !breaks)
        return {};
    breaks->setText(source.get(), status);
    std::vector<Segment> found;
    if (U_FAILURE(status))
        return found;
    int32_t begin = breaks->first();
    for (int32_t end = breaks->next(); end != icu::BreakIterator::DONE; end = breaks->next()) {
        const int32_t kind = breaks->getRuleStatus();
        const auto length = static_cast<std::size_t>(end - begin);
        if (kind >= UBRK_WORD_NONE_LIMIT &&
            holdsLetterOrDigit(text.substr(static_cast<std::size_t>(begin), length)))
            found.push_back({static_cast<std::size_t>(begin), static_cast<std::size_t>(end),
                             kind >= UBRK_WORD_KANA});
        begin = end;
    }
    return found;
}

bool isHyphen(std::string_view text) {
    return text == "-" || text == "\u2010" || text == "\u2011";
}

bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// How many signs close the name that ends where `gap`, which leads to the next word, begins.
std::size_t closingSigns(std::string_view gap, bool last) {
    const auto count = gap.find_first_not_of("+#");
    if (count == std::string_view::npos)
        return last ? gap.size() : 0;  // a+b has no sign that closes
    return count;
}

}  // namespace

std::vector<Word> words(std::string_view text) {
    const auto parts = segments(text);
    std::vector<Word> found;
    for (std::size_t i = 0; i < parts.size();) {
        const auto begin = parts[i].begin;
        const auto gapAfter = [&](std::size_t part) {
            const auto next = part + 1 < parts.size() ? parts[part + 1].begin : text.size();
            return text.substr(parts[part].end, next - parts[part].end);
        };
        while (i + 1 < parts.size() && isHyphen(gapAfter(i)) && !parts[i].ideographic &&
               !parts[i + 1].ideographic)
            ++i;
        auto end = parts[i].end;
        if (isAsciiLetter(text[end - 1]))
            end += closingSigns(gapAfter(i), i + 1 == parts.size());
        found.push_back({text.substr(begin, end - begin), begin});
        ++i;
    }
    return found;
}

}  // namespace quillet
