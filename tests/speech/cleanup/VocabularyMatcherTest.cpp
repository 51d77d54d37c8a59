#include "speech/cleanup/VocabularyMatcher.h"

#include <gtest/gtest.h>

#include <random>

#include "speech/cleanup/NaiveVocabulary.h"

namespace quillet {
namespace {

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
        // Now and then one that would only take away, and is left out.
        if (run % 5 == 0)
            entries.push_back({draw(2), "", 1, ""});
        const auto text = draw(16);
        const auto result = VocabularyMatcher(entries).apply(text);
        ASSERT_EQ(result, naive::applied(entries, text)) << text << " in run " << run;
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
    entries.reserve(100'001);
    for (int i = 0; i < 100'000; ++i)
        entries.push_back({"term" + std::to_string(i), "Term " + std::to_string(i), 1, ""});
    entries.push_back({"江纳森", "Jonathan", 1, ""});
    const VocabularyMatcher matcher(entries);
    EXPECT_EQ(matcher.apply("江纳森说term99999和term7不是term100000"),
              "Jonathan说Term 99999和Term 7不是term100000");
}

}  // namespace
}  // namespace quillet
