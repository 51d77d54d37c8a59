#pragma once

#include <unicode/uchar.h>
#include <unicode/uniset.h>

#include <algorithm>
#include <cassert>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "speech/cleanup/Pattern.h"
#include "store/VocabularyDB.h"

/// What VocabularyMatcher has to do, done in the simplest way that can be thought of.
namespace quillet::naive {

/// A character that a Latin word goes on across.
inline bool isInWord(UChar32 c) {
    static const icu::UnicodeSet set = [] {
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeSet made(
            uR"([[\p{Alphabetic}\p{M}\p{Nd}_]-[\p{Han}\p{Hiragana}\p{Katakana}\u30FC]])", status);
        return made;
    }();
    return set.contains(c);
}

/// A text without case, character by character, so that nothing in it moves: "ß" is not "ss".
inline icu::UnicodeString folded(const icu::UnicodeString& text) {
    icu::UnicodeString result;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1))
        result.append(u_foldCase(text.char32At(i), U_FOLD_CASE_DEFAULT));
    return result;
}

inline icu::UnicodeString replaced(const icu::UnicodeString& text, const VocabEntry& entry) {
    if (entry.corrected.empty())
        return text;
    const auto original = folded(wide(entry.original));
    const auto foldedText = folded(text);
    assert(foldedText.length() == text.length());
    const bool wholeWord = std::ranges::all_of(
        entry.original, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    icu::UnicodeString result;
    for (int32_t at = 0; at < text.length();) {
        const int32_t end = at + original.length();
        const bool found = foldedText.compare(at, original.length(), original) == 0;
        const bool stands = !wholeWord || ((at == 0 || !isInWord(text.char32At(at - 1))) &&
                                           (end >= text.length() || !isInWord(text.char32At(end))));
        if (found && stands) {
            result.append(wide(entry.corrected));
            at = end;
        } else {
            result.append(text[at++]);
        }
    }
    return result;
}

/// One entry after another, each over the whole text.
inline std::string applied(std::span<const VocabEntry> given, std::string_view text) {
    const auto length = [](const VocabEntry& entry) { return wide(entry.original).countChar32(); };
    std::vector<VocabEntry> entries;
    std::ranges::copy_if(given, std::back_inserter(entries),
                         [](const VocabEntry& entry) { return !entry.original.empty(); });
    std::ranges::sort(entries, [&](const VocabEntry& a, const VocabEntry& b) {
        if (length(a) != length(b))
            return length(a) > length(b);
        if (a.frequency != b.frequency)
            return a.frequency > b.frequency;
        return std::tie(a.original, a.corrected) < std::tie(b.original, b.corrected);
    });
    auto result = wide(text);
    const auto longest = 10 * result.countChar32() + 10'000;
    for (const auto& entry : entries) {
        // Entries that feed each other end here.
        if (result.countChar32() > longest)
            break;
        result = replaced(result, entry);
    }
    return narrow(result);
}

}  // namespace quillet::naive
