#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReview.h"

namespace quillet {
namespace {

using nlohmann::json;

TEST(NightReport, SaysInEnglishWhatItCounts) {
    ReviewCounts review{1, 2, 0, 0, {}, false};
    EXPECT_EQ(worded(review, ReportLanguage::english),
              "1 dictation read: 2 learned, 0 waiting for you.");
    review = {3, 0, 1, 2, {"史事 → 只是", "a → b"}, true};
    EXPECT_EQ(
        worded(review, ReportLanguage::english),
        "3 dictations read: 0 learned, 1 waiting for you. 2 parts got no usable answer.\n"
        "Removed from the vocabulary: 史事 → 只是, a → b\n"
        "The vocabulary could not be changed everywhere; the rest is done at the next start.");
    EXPECT_EQ(worded(KnowledgeCounts{1, 2, 1, 0, true}, ReportLanguage::english),
              "1 new item added, 2 items added to or revised. 1 operation left out, for nothing "
              "bears them out. — the rest next time");
    EXPECT_EQ(worded(KnowledgeCounts{0, 0, 0, 2, false}, ReportLanguage::english),
              "Nothing new to file. For 2 entries there was no reply that could be read.");
}

TEST(NightReport, IsStoredAsDataBesideItsText) {
    NightlyReview::State state;
    state.report = "2 dictations read";
    state.counts = ReviewCounts{2, 1, 0, 1, {"a → b"}, true};
    const auto review = NightlyReview::decodeState(NightlyReview::encode(state));
    ASSERT_TRUE(review);
    EXPECT_EQ(review->counts, state.counts);

    KnowledgeKeeper::State base;
    base.report = "1 new item";
    base.counts = KnowledgeCounts{1, 2, 3, 4, true};
    const auto knowledge = decodeKnowledge(json::parse(encodedText(base)));
    ASSERT_TRUE(knowledge);
    EXPECT_EQ(knowledge->counts, base.counts);
}

TEST(NightReport, OfAnOlderVersionIsShownAsItStands) {
    const json stored = {{"report", "7 dictations read: 1 learned.\nRemoved: a"},
                         {"reportCounts", "none"}};
    const auto state = NightlyReview::decodeState(stored);
    ASSERT_TRUE(state);
    EXPECT_FALSE(state->counts);
    EXPECT_EQ(shownReport(*state), *stored["report"].get_ptr<const std::string*>());
    EXPECT_EQ(shownReport(NightlyReview::State()), "");

    auto told = *state;
    told.counts = ReviewCounts();
    told.tell("Nothing new to review.");
    EXPECT_EQ(shownReport(told), "Nothing new to review.") << "what it counted was the one before";
}

}  // namespace
}  // namespace quillet
