#include <gtest/gtest.h>

#include <sstream>

#include "memory/ReviewData.h"
#include "memory/ReviewJudge.h"
#include "memory/ReviewPrompt.h"
#include "world/FixedCalendar.h"
#include "world/JsonData.h"

// What people dictate, and what a model that obeys them replies.
namespace quillet::NightlyReview {
namespace {

using nlohmann::json;

std::string content(const json& body, std::size_t message) {
    return body.at("messages").at(message).at("content");
}

/// The entries stay entries: one line each, under the number that is theirs.
void expectPlainEntries(const json& body, const std::vector<Entry>& entries) {
    EXPECT_EQ(body.at("messages").size(), 2);
    std::istringstream lines(content(body, 1));
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line); ++number) {
        ASSERT_LT(number, entries.size());
        const auto shown = json::parse(line);
        EXPECT_EQ(shown.at("id"), number + 1);
        EXPECT_EQ(textOf(shown, "heard"), entries[number].heard);
        EXPECT_EQ(textOf(shown, "sent"), entries[number].sent);
    }
    EXPECT_EQ(number, entries.size());
}

/// What a reply leads to, as the files of cases write it.
json outcome(const Reply& reply, const json& night, const std::vector<Entry>& entries) {
    json result = {{"learned", json::array()}, {"asked", json::array()}, {"fixes", json::array()}};
    std::vector<std::string> kept;
    for (const auto& term : reply.terms) {
        const auto verdict = judge(term, entries);
        if (verdict == Verdict::drop)
            continue;
        kept.push_back(term.written);
        result[verdict == Verdict::learn ? "learned" : "asked"].push_back(
            fmt::format("{} → {}", term.heard, term.written));
    }
    for (const auto& fix : reply.fixes) {
        if (isUsableFix(fix, entries))
            result["fixes"].push_back(fmt::format("{}: {} → {}", fix.id, fix.sent, fix.fixed));
    }
    const auto old = memoryOf(night, "memory");
    const auto memory =
        reply.memory ? updated(old, *reply.memory, entries, pairsOf(night), kept) : old;
    result["memory"] = {{"profile", memory.profile}, {"terms", memory.terms}};
    return result;
}

TEST(HostileReview, ChangesNothingBeyondTheEntryItself) {
    const auto files = world::jsonFiles("memory/hostile/review");
    EXPECT_GE(files.size(), 8);
    for (const auto& file : files) {
        SCOPED_TRACE(file);
        const auto night = world::jsonData(file);
        const auto entries = entriesOf(night);
        const auto body = reviewRequest("m", memoryOf(night, "memory"), pairsOf(night), entries,
                                        world::FixedCalendar());
        const auto harmless = reviewRequest("m", memoryOf(night, "memory"), pairsOf(night), {},
                                            world::FixedCalendar());
        EXPECT_EQ(content(body, 0), content(harmless, 0));
        expectPlainEntries(body, entries);
        const auto reply = readReply(textOf(night, "reply"));
        const auto& expected = night.at("outcome");
        EXPECT_EQ(reply ? outcome(*reply, night, entries) : json(), expected);
    }
}

TEST(HostileCleanUp, RemovesNothingThatWasNotMeant) {
    const auto files = world::jsonFiles("memory/hostile/clean-up");
    EXPECT_GE(files.size(), 2);
    for (const auto& file : files) {
        SCOPED_TRACE(file);
        const auto night = world::jsonData(file);
        const auto pairs = pairsOf(night);
        const auto terms = textsOf(night, "terms");
        EXPECT_TRUE(content(cleanUpRequest("m", pairs, terms), 0).contains(textOf(night, "shown")));
        const auto cleanUp = readCleanUp(textOf(night, "reply"), pairs.size(), terms);
        json result;
        if (cleanUp)
            result = {{"remove", cleanUp->remove}, {"dropTerms", cleanUp->dropTerms}};
        EXPECT_EQ(result, night.at("outcome"));
    }
}

}  // namespace
}  // namespace quillet::NightlyReview
