#include "speech/cleanup/VocabularyMatcher.h"

#include <gtest/gtest.h>
#include <unicode/uniset.h>

#include <algorithm>
#include <random>

#include "speech/cleanup/Pattern.h"

namespace quillet {
namespace {

/// A character that a Latin word goes on across.
bool isInWord(UChar32 c) {
    static const icu::UnicodeSet set = [] {
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeSet made(
            uR"([[\p{Alphabetic}\p{M}\p{Nd}_]-[\p{Han}\p{Hiragana}\p{Katakana}\u30FC]])", status);
        return made;
    }();
    return set.contains(c);
}

icu::UnicodeString replaced(const icu::UnicodeString& text, const VocabEntry& entry) {
    const auto original = wide(entry.original);
    const bool wholeWord = std::ranges::all_of(
        entry.original, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    icu::UnicodeString result;
    for (int32_t at = 0; at < text.length();) {
        const int32_t end = at + original.length();
        const bool found = text.caseCompare(at, original.length(), original, 0) == 0;
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
std::string naivelyApplied(std::vector<VocabEntry> entries, std::string_view text) {
    const auto length = [](const VocabEntry& entry) { return wide(entry.original).countChar32(); };
    std::ranges::sort(entries, [&](const VocabEntry& a, const VocabEntry& b) {
        if (length(a) != length(b))
            return length(a) > length(b);
        if (a.frequency != b.frequency)
            return a.frequency > b.frequency;
        return std::tie(a.original, a.corrected) < std::tie(b.original, b.corrected);
    });
    auto result = wide(text);
    for (const auto& entry : entries)
        result = replaced(result, entry);
    return narrow(result);
}

TEST(VocabularyMatcher, DoesTheSameAsOneEntryAfterAnother) {
    // Few and short pieces, so that entries overlap, feed each other and undo each other.
    const std::vector<std::string> pieces = {"a",  "A", "b", "ab", " ", "_",  "中", "文", "中文",
                                             "か", "é", "1", "+",  ".", "$1", "\\", "*"};
    std::mt19937 random(7);
    const auto draw = [&](unsigned most) {
        std::string text;
        for (auto count = 1 + random() % most; count > 0; --count)
            text += pieces[random() % pieces.size()];
        return text;
    };
    int changed = 0;
    for (int run = 0; run < 4'000; ++run) {
        std::vector<VocabEntry> entries;
        for (auto count = 1 + random() % 12; count > 0; --count)
            entries.push_back({draw(3), draw(3), static_cast<int>(random() % 3), ""});
        // Now and then one that only takes away.
        if (run % 5 == 0)
            entries.push_back({draw(2), "", 1, ""});
        const auto text = draw(16);
        const auto result = VocabularyMatcher(entries).apply(text);
        ASSERT_EQ(result, naivelyApplied(entries, text)) << text << " in run " << run;
        changed += result != text ? 1 : 0;
    }
    EXPECT_GT(changed, 1'500);
}

TEST(VocabularyMatcher, DoesNotLetEntriesBlowATextUp) {
    std::vector<VocabEntry> entries;
    const auto twenty = [](const std::string& pair) {
        std::string text;
        for (int i = 0; i < 20; ++i)
            text += pair;
        return text;
    };
    for (char c = 'a'; c < 'i'; ++c)
        entries.push_back({"中" + std::string(1, c), twenty("中" + std::string(1, char(c + 1))),
                           8 - (c - 'a'), ""});
    EXPECT_LT(VocabularyMatcher(entries).apply("中a").size(), 2'000'000U);
}

TEST(VocabularyMatcher, TakesALargeVocabulary) {
    std::vector<VocabEntry> entries;
    for (int i = 0; i < 100'000; ++i)
        entries.push_back({"term" + std::to_string(i), "Term " + std::to_string(i), 1, ""});
    entries.push_back({"江纳森", "Jonathan", 1, ""});
    const VocabularyMatcher matcher(entries);
    EXPECT_EQ(matcher.apply("江纳森说term99999和term7不是term100000"),
              "Jonathan说Term 99999和Term 7不是term100000");
}

}  // namespace
}  // namespace quillet
