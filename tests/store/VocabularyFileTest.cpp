#include "store/VocabularyFile.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace quillet {
namespace {

using nlohmann::json;

constexpr Calendar::UnixTime now{std::chrono::duration<double>(1'700'000'000)};

TEST(VocabularyFile, WhatIsWrittenIsReadBack) {
    const std::vector<VocabularyDB::SyncEntry> entries = {
        {"江纳森", "Jonathan", 7, 1'600'000'000, "review"},
        {"pull request", "PR", 1, 1'600'000'001, "manual"}};
    const auto read = decodeVocabulary(encodeVocabulary(entries), now);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->entries, entries);
    EXPECT_EQ(read->leftOut, 0U);
}

TEST(VocabularyFile, AnObjectOfPairsIsAddedByHandNow) {
    const auto read = decodeVocabulary({{" clawed ", "Claude "}, {"number", 3}}, now);
    ASSERT_TRUE(read);
    const std::vector<VocabularyDB::SyncEntry> expected = {
        {"clawed", "Claude", 1, 1'700'000'000, "manual"}};
    EXPECT_EQ(read->entries, expected);
    EXPECT_EQ(read->leftOut, 1U);
}

TEST(VocabularyFile, PairsThatTheTableWouldNotKeepAreLeftOut) {
    const auto read = decodeVocabulary(
        json::array({{{"original", "quill let"}, {"corrected", "Quillet"}, {"frequency", -4}},
                     {{"original", "two lines"}, {"corrected", "a\nb"}},
                     {{"original", "quill let"}, {"corrected", std::string(41, 'x')}},
                     {{"original", 5}, {"corrected", "five"}},
                     "no pair"}),
        now);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->leftOut, 4U);
    ASSERT_EQ(read->entries.size(), 1U);
    EXPECT_EQ(read->entries.front().frequency, 1) << "a pair was used once at least";
}

TEST(VocabularyFile, OtherContentIsNone) {
    EXPECT_FALSE(decodeVocabulary(json(), now));
    EXPECT_FALSE(decodeVocabulary("江纳森", now));
}

}  // namespace
}  // namespace quillet
