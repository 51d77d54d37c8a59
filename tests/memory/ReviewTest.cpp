#include <gtest/gtest.h>

#include "base/text/Text.h"
#include "memory/ReviewData.h"
#include "memory/ReviewJudge.h"
#include "memory/ReviewPrompt.h"
#include "world/FixedCalendar.h"
#include "world/JsonData.h"

namespace quillet::NightlyReview {
namespace {

using nlohmann::json;
using Texts = std::vector<std::string>;

Entry entry(const char* id, const char* heard, const char* sent) {
    return {id, {}, std::nullopt, heard, sent, std::nullopt, std::nullopt};
}

const std::vector<Entry> day = {entry("a", "江纳森来了", "江纳森来了。"),
                                entry("b", "", "叫江纳森。"), entry("c", "Brevyo", "Brevyo"),
                                entry("d", "坐下去", "坐下去")};

Verdict verdict(const char* heard, double confidence, std::vector<std::int64_t> ids,
                const char* written = "Jonathan") {
    return judge({heard, written, std::move(ids), confidence, ""}, day);
}

TEST(ReviewPrompt, IsWrittenToTheByte) {
    for (const auto* name : {"review", "review-of-nothing-known"}) {
        const auto golden = world::jsonData(fmt::format("memory/golden/{}.json", name));
        const auto& input = golden.at("input");
        EXPECT_EQ(reviewRequest(textOf(input, "model"), memoryOf(input, "memory"), pairsOf(input),
                                entriesOf(input), world::FixedCalendar({}, std::chrono::hours(8))),
                  golden.at("body"))
            << name;
    }
    for (const auto* name : {"clean-up", "clean-up-without-terms"}) {
        const auto golden = world::jsonData(fmt::format("memory/golden/{}.json", name));
        const auto& input = golden.at("input");
        EXPECT_EQ(cleanUpRequest(textOf(input, "model"), pairsOf(input), textsOf(input, "terms")),
                  golden.at("body"))
            << name;
    }
}

TEST(ReviewPrompt, ShowsNoMorePairsThanItsLimit) {
    const std::vector<VocabEntry> many(mostPairsInPrompt + 1, {"heard", "written", 1, ""});
    const auto text = cleanUpRequest("m", many, {})["messages"][0]["content"].get<std::string>();
    EXPECT_TRUE(text.contains("\n300. heard → written\n\nThen"));
    const auto review = reviewRequest("m", {}, many, {}, world::FixedCalendar());
    const auto system = review["messages"][0]["content"].get<std::string>();
    EXPECT_EQ(std::ranges::count(system.substr(system.find("known):")), '\n'), 300 + 5);
    // What was not shown cannot be meant.
    const auto cleanUp = readCleanUp(R"({"remove": [{"id": 300}, {"id": 301}]})", 301, {});
    EXPECT_EQ(cleanUp->remove, std::vector<std::size_t>{299});
}

TEST(ReviewPrompt, TakesAsManyEntriesAsFit) {
    const auto sized = [](std::size_t characters) {
        Entry long_;
        long_.heard = std::string(characters - 2, 'x');
        long_.sent = "是";
        long_.again = "y";
        return long_;
    };
    EXPECT_EQ(batchSize({}), 0);
    EXPECT_EQ(batchSize(std::vector(61, sized(2))), 60);
    EXPECT_EQ(batchSize(std::vector{sized(6'000), sized(6'000), sized(2)}), 2);
    EXPECT_EQ(batchSize(std::vector{sized(6'000), sized(6'001), sized(2)}), 1);
    EXPECT_EQ(batchSize(std::vector{sized(12'001), sized(2)}), 1);
    EXPECT_EQ(batchSize(std::vector{sized(2), sized(12'001)}), 1);
}

TEST(ReviewReply, ReadsWhateverAModelMakesOfTheForm) {
    EXPECT_FALSE(readReply("Nothing to report."));
    const auto empty = readReply(R"({"terms": {}, "fixes": ["x", 1], "memory": []})");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->terms.empty() && empty->fixes.empty() && !empty->memory);
    const auto reply = readReply(R"(<think>hm</think>{"terms": [
        {"heard": " a ", "written": "b\n", "ids": [1, "2", 1.5, 1e300, -3, 18446744073709551615],
         "confidence": 0.9, "reason": "so\n so"},
        {"heard": 1, "ids": 1, "confidence": "0.9"}, null],
        "fixes": [{"id": 2, "sent": " s ", "fixed": "f"}, {"id": "2"}],
        "memory": {"profile": "p", "terms": ["t", 1]}})");
    ASSERT_TRUE(reply && reply->terms.size() == 2 && reply->fixes.size() == 2 && reply->memory);
    const auto& term = reply->terms[0];
    EXPECT_EQ(term.heard + "/" + term.written + "/" + term.reason, "a/b/so  so");
    EXPECT_EQ(term.ids, (std::vector<std::int64_t>{1, 0, 0, 0, -3, 0}));
    EXPECT_EQ(term.confidence, 0.9);
    EXPECT_EQ(reply->terms[1].heard, "");
    EXPECT_TRUE(reply->terms[1].ids.empty());
    EXPECT_EQ(reply->terms[1].confidence, 0);
    EXPECT_EQ(reply->fixes[0].sent, "s");
    EXPECT_EQ(reply->fixes[1].id, 0);
    EXPECT_EQ(*reply->memory, (Memory{"p", {"t"}}));
    // A part that is missing is not one that is to be forgotten.
    EXPECT_FALSE(readReply(R"({"memory": {"profile": "p"}})")->memory);
    EXPECT_FALSE(readReply(R"({"memory": {"terms": []}})")->memory);
}

TEST(ReviewJudge, KnowsAUsablePair) {
    EXPECT_TRUE(isUsablePair("江纳森", "Jonathan"));
    EXPECT_TRUE(isUsablePair("江纳", "x"));
    EXPECT_TRUE(isUsablePair("Anna", "安娜"));
    EXPECT_TRUE(isUsablePair(std::string(24, 'x'), std::string(40, 'y')));
    for (const auto& [heard, written] :
         std::vector<std::pair<std::string, std::string>>{{"", "x"},
                                                          {"江纳森", ""},
                                                          {"same", "same"},
                                                          {"江", "x"},
                                                          {"abc", "x"},
                                                          {std::string(25, 'x'), "y"},
                                                          {"abcd", std::string(41, 'y')},
                                                          {"abcd", "a\nb"},
                                                          {"abcd", "a\u2028b"}})
        EXPECT_FALSE(isUsablePair(heard, written)) << heard;
}

TEST(ReviewJudge, LearnsWhatItIsSureOf) {
    EXPECT_EQ(verdict("江纳森", 0.85, {1}), Verdict::learn);
    EXPECT_EQ(verdict("江纳森", 0.84, {1, 2}), Verdict::ask);
    EXPECT_EQ(verdict("江纳森", 0.7, {2}), Verdict::ask);
    EXPECT_EQ(verdict("江纳森", 0.69, {1, 2}), Verdict::drop);
    EXPECT_EQ(verdict("Brevyo", 0.9, {3}), Verdict::ask);
    EXPECT_EQ(verdict("Brevyo", 0.9, {3, 3, 3}), Verdict::ask);
    // Not every entry that is named has to hold it, but all have to be there.
    EXPECT_EQ(verdict("江纳森", 0.9, {3, 1}), Verdict::learn);
    EXPECT_EQ(verdict("江纳森", 0.9, {3, 4}), Verdict::drop);
    EXPECT_EQ(verdict("江纳森", 0.9, {}), Verdict::drop);
    EXPECT_EQ(verdict("江纳森", 0.9, {1, 0}), Verdict::drop);
    EXPECT_EQ(verdict("江纳森", 0.9, {1, 5}), Verdict::drop);
    EXPECT_EQ(verdict("江纳 森", 0.9, {1}), Verdict::drop);
    EXPECT_EQ(verdict("江纳森", 0.9, {1}, ""), Verdict::drop);
    EXPECT_EQ(verdict("江纳森", 90, {1}), Verdict::drop);
    EXPECT_EQ(entriesWith("江纳森", day), (Texts{"a", "b"}));
}

TEST(ReviewJudge, LeavesPairsThatAreSpeltOutToTheUser) {
    const auto with = [](const char* heard, const char* sent) {
        auto entries = day;
        entries.push_back(entry("e", heard, sent));
        return judge({"江纳森", "江纳森老师", {1}, 0.9, ""}, entries);
    };
    EXPECT_EQ(with("把江纳森写成江纳森老师", ""), Verdict::ask);
    EXPECT_EQ(with("", "江纳森老师，不是江纳森"), Verdict::ask);
    // The user's own correction.
    EXPECT_EQ(with("江纳森好", "江纳森老师好"), Verdict::learn);
}

TEST(ReviewJudge, TakesFixesOfWhatWasSent) {
    const auto usable = [](std::int64_t id, const char* sent, const char* fixed) {
        return isUsableFix({id, sent, fixed, ""}, day);
    };
    EXPECT_TRUE(usable(4, "坐下去", "做下去"));
    EXPECT_TRUE(usable(2, "叫江纳森", "叫 Jonathan"));
    EXPECT_FALSE(usable(1, "坐下去", "做下去"));
    EXPECT_FALSE(usable(4, "坐下去。", "做下去。"));
    EXPECT_FALSE(usable(4, "坐下去", "坐下去"));
    EXPECT_FALSE(usable(4, "", "做下去"));
    EXPECT_FALSE(usable(4, "坐下去", ""));
    EXPECT_FALSE(usable(0, "坐下去", "做下去"));
    EXPECT_FALSE(usable(5, "坐下去", "做下去"));
}

TEST(ReviewJudge, KeepsTheMemoryWithinItsLimits) {
    const Memory old{"Father of Anna.", {"Anna", "Quillet"}};
    const auto after = [&old](const Memory& reply) {
        return updated(old, reply, day, std::vector<VocabEntry>{{"黑马", "Hema", 1, ""}},
                       Texts{"Jonathan Lee"});
    };
    EXPECT_EQ(after({"", {}}), old);
    EXPECT_EQ(after({" New. ", {}}), (Memory{"New.", {}}));
    EXPECT_EQ(after({"\n", {"Anna"}}), (Memory{"Father of Anna.", {"Anna"}}));
    // Whatever nobody said is left out, and so is what was only misheard.
    EXPECT_EQ(
        after({"p", {"brevyo", "Bob", "Hema", "黑马", "Jonathan\nLee", "quillet", " ", "quillet"}})
            .terms,
        (Texts{"brevyo", "Hema", "Jonathan Lee", "quillet"}));
    Texts many;
    Memory large;
    for (int i = 0; i < 40; ++i)
        large.terms.push_back(fmt::format("t{}", i));
    EXPECT_EQ(updated(large, large, {}, {}, {}).terms.size(), 30);
    EXPECT_TRUE(updated({}, {"p", {std::string(41, 'x')}}, {}, {}, Texts{std::string(41, 'x')})
                    .terms.empty());
    EXPECT_EQ(characterCount(after({std::string(700, 'x'), {}}).profile), 600);
}

TEST(ReviewJudge, CutsAtTheEndOfASentence) {
    EXPECT_EQ(cutAtSentence("One. Two. Three.", 16), "One. Two. Three.");
    EXPECT_EQ(cutAtSentence("One. Two. Three.", 15), "One. Two.");
    EXPECT_EQ(cutAtSentence("One. Two. Three.", 9), "One. Two.");
    EXPECT_EQ(cutAtSentence("一。二三。四五六七", 8), "一。二三。");
    EXPECT_EQ(cutAtSentence("一。二三。四", 5), "一。二三。");
    EXPECT_EQ(cutAtSentence("One. Two and three", 13), "One. Two and");  // in the first half
    EXPECT_EQ(cutAtSentence("👨‍👩‍👧👨‍👩‍👧👨‍👩‍👧", 2),
              "👨‍👩‍👧👨‍👩‍👧");
    EXPECT_EQ(cutAtSentence("", 5), "");
}

TEST(ReviewCleanUp, RemovesOnlyWhatWasShownAndNeverMost) {
    const auto removal = [](std::size_t count) {
        auto rows = json::array();
        for (std::size_t i = 1; i <= count; ++i)
            rows.push_back({{"id", i}, {"reason", ""}});
        return json({{"remove", rows}}).dump();
    };
    EXPECT_TRUE(readCleanUp(removal(10), 10, {}));
    EXPECT_TRUE(readCleanUp(removal(20), 60, {}));
    EXPECT_FALSE(readCleanUp(removal(21), 60, {}));
    EXPECT_FALSE(readCleanUp("none", 60, {}));
    const Texts terms = {"Anna", "a\nb", "x"};
    const auto cleanUp = readCleanUp(
        R"({"remove": [{"id": 3}, {"id": 1}, {"id": 3}, {"id": 0}, {"id": 4}, {"id": "2"}, 2],
            "drop_terms": ["a b", "anna", "Anna ", 1, "Anna"]})",
        3, terms);
    ASSERT_TRUE(cleanUp);
    EXPECT_EQ(cleanUp->remove, (std::vector<std::size_t>{0, 2}));
    EXPECT_EQ(cleanUp->dropTerms, (Texts{"Anna", "a\nb"}));
}

}  // namespace
}  // namespace quillet::NightlyReview
