#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "memory/NightSchedule.h"
#include "memory/NightWork.h"
#include "world/FullDisk.h"
#include "world/Night.h"

namespace quillet::world {
namespace {

using namespace NightlyReview;
using nlohmann::json;

json term(const std::string& heard, const std::string& written, std::vector<int> ids,
          double confidence = 0.95) {
    return {{"heard", heard},
            {"written", written},
            {"ids", std::move(ids)},
            {"confidence", confidence},
            {"reason", "a name"}};
}

std::string reply(std::vector<json> terms, json fixes = json::array(),
                  const std::string& profile = "Has a son.", json names = {"Jonathan"}) {
    return json{{"terms", json(std::move(terms))},
                {"fixes", std::move(fixes)},
                {"memory", {{"profile", profile}, {"terms", std::move(names)}}}}
        .dump();
}

constexpr const char* nothingToRemove = R"({"remove": [], "drop_terms": []})";

class Review : public ::testing::Test {
protected:
    void sayToday() {
        night.log("江纳森到家了", "江纳森到家了");
        night.log("给江纳森打电话", "给江纳森打电话");
        night.log("ask get hub", "ask get hub");
    }
    Night night;
};

TEST_F(Review, LearnsWhatItIsSureOfAndAsksAboutTheRest) {
    sayToday();
    night.world.llm.say("<think>Let me see.</think>```json\n" +
                        reply({term("江纳森", "Jonathan", {1, 2}), term("get hub", "GitHub", {3}),
                               term("到家", "回家", {1}, 0.69)},
                              {{{"id", 3}, {"sent", "ask get hub"}, {"fixed", "Ask GitHub."}}}) +
                        "\n```");
    night.world.llm.say(nothingToRemove);
    const auto run = night.review();
    ASSERT_TRUE(run && *run);
    EXPECT_EQ((*run)->reviewed, 3);
    EXPECT_TRUE(night.knows("江纳森", "Jonathan"));
    EXPECT_FALSE(night.knows("get hub", "GitHub")) << "it was heard in one dictation only";
    ASSERT_EQ(night.state().suggestions.size(), 3U);
    EXPECT_EQ(night.state().suggestions[0].status, Status::learned);
    EXPECT_EQ(night.state().suggestions[0].entries.size(), 2U) << "it can be traced";
    EXPECT_EQ(night.state().suggestions[1].status, Status::pending);
    EXPECT_EQ(night.state().memory.profile, "Has a son.");
    EXPECT_EQ(night.world.await(night.reviewer->ledger().memory(50)).terms.front(), "Jonathan");

    ASSERT_TRUE(night.world.await(night.reviewer->ledger().accept(2)));
    EXPECT_TRUE(night.knows("get hub", "GitHub"));
    EXPECT_FALSE(night.world.await(night.reviewer->ledger().accept(2)));
    EXPECT_FALSE(night.world.await(night.reviewer->ledger().dismiss(99)));
    ASSERT_TRUE(night.world.await(night.reviewer->ledger().undo(2)));
    EXPECT_FALSE(night.knows("get hub", "GitHub"));
    ASSERT_TRUE(night.world.await(night.reviewer->ledger().undoLastRun()));
    EXPECT_FALSE(night.knows("江纳森", "Jonathan"));
    EXPECT_EQ(night.state().memory, Memory{});
    EXPECT_FALSE(night.world.await(night.reviewer->ledger().undoLastRun()));

    // What was dismissed is not asked about again, and nothing is reviewed twice.
    const auto before = night.world.llm.requests.size();
    EXPECT_TRUE(night.review());
    EXPECT_EQ(night.world.llm.requests.size(), before);
    EXPECT_EQ(night.state().report, "Nothing new to review.");
    night.log("get hub again", "get hub again");
    night.world.llm.say(reply({term("get hub", "GitHub", {1})}));
    night.world.llm.say(nothingToRemove);
    ASSERT_TRUE(night.review());
    EXPECT_EQ(night.state().suggestions.size(), 3U);
}

TEST_F(Review, TidiesTheVocabularyAndCanPutItBack) {
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(
            night.world.await(night.world.vocabulary->learn("史事", "只是", 1.0, "manual")));
    sayToday();
    night.world.llm.say(reply({}, json::array(), "", {"Jonathan", "get hub"}));
    night.world.llm.say(R"({"remove": [{"id": 1, "reason": "an ordinary word"}, {"id": 7}],
                            "drop_terms": ["get hub", "unknown"]})");
    ASSERT_TRUE(night.review());
    EXPECT_FALSE(night.knows("史事", "只是"));
    EXPECT_NE(night.state().report->find("\nRemoved from the vocabulary: 史事 → 只是"),
              std::string::npos);
    EXPECT_TRUE(night.world.logSink->has("Vocabulary clean-up: removed 1 pairs"));
    ASSERT_TRUE(night.world.await(night.reviewer->ledger().undoLastRun()));
    const auto all = night.world.await(night.world.vocabulary->allEntries());
    ASSERT_EQ(all->size(), 1U);
    EXPECT_EQ(all->front(), (VocabEntry{"史事", "只是", 3, "manual"}));
}

TEST_F(Review, TellsWhyItDidNothing) {
    sayToday();
    night.world.llm.fail(HttpError::Kind::unreachable);
    EXPECT_EQ(night.review().error(), "The LLM couldn't be reached — trying again later.");
    EXPECT_TRUE(night.world.logSink->has("Review skipped: LLM unreachable"));
    night.world.llm.say("Sure! Here is what I think of your day.");
    EXPECT_EQ(night.review().error(), "The LLM didn't answer — trying again later.");
    EXPECT_TRUE(night.world.logSink->has("Review failed: no batch answered"));
    EXPECT_EQ(night.state().lastRun, std::nullopt) << "the day is offered again";
    night.world.llm.say(reply({}));
    EXPECT_TRUE(night.review()) << "and the model is asked again";
    night.log("more", "more");
    night.world.set("sessionLoggingEnabled", "false");
    EXPECT_EQ(night.review().error(), "Turn on session history to review it.");
    night.world.set("rememberWhatISay", "false");
    EXPECT_EQ(night.review().error(), "Memory is paused (Memory & Knowledge).");
}

TEST_F(Review, PartsWithoutAnAnswerAreCounted) {
    for (int i = 0; i < 150; ++i)
        night.log("word " + std::to_string(i), "word " + std::to_string(i));
    night.world.llm.say(reply({}, json::array(), "First."));
    night.world.llm.say("no JSON");
    night.world.llm.say(reply({}, json::array(), "Third."));
    const auto run = night.review();
    ASSERT_TRUE(run && *run);
    EXPECT_EQ((*run)->failedParts, 1);
    EXPECT_EQ((*run)->memoryAfter.profile, "Third.");
    EXPECT_EQ(night.world.llm.requests.size(), 3U) << "there is no vocabulary to tidy";
}

TEST_F(Review, HearsKeptRecordingsASecondTime) {
    night.world.set("nightlyReview", "true");
    night.world.useServer();
    night.world.dictate("wait for jonah son");
    night.world.settle();
    ASSERT_EQ(night.world.archive->items().size(), 1U);
    EXPECT_EQ(night.world.archive->items().front().id, night.world.history().front().id);
    const auto before = night.world.server.requests.size();
    night.world.server.answer(200, R"({"text": "wait for Jonathan"})");
    night.world.llm.say(reply({}));
    ASSERT_TRUE(night.review());
    EXPECT_EQ(night.world.server.requests.size(), before + 1);
    const auto body = json::parse(*night.world.llm.requests[0].body);
    EXPECT_NE(body["messages"].back()["content"].get<std::string>().find(
                  R"("heard_again":"wait for Jonathan")"),
              std::string::npos);
}

TEST_F(Review, AChangeOfSettingsInTheMiddleChangesNothing) {
    sayToday();
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1, 2})}));
    const auto run = night.begin(night.reviewer->run());
    night.world.pass(10ms);
    night.world.set("llmModel", "another");
    night.world.settle();
    ASSERT_TRUE(run->has_value());
    EXPECT_FALSE(run->value());
    EXPECT_FALSE(night.knows("江纳森", "Jonathan"));
    EXPECT_EQ(night.state().runs.size(), 0U);
}

/// A day that makes two batches, each with something to learn, and something to tidy away.
void longDay(Night& night) {
    EXPECT_TRUE(night.world.await(night.world.vocabulary->learn("测试测试", "tset", 1.0, "edit")));
    for (int i = 0; i < 70; ++i)
        night.log("江纳森 " + std::to_string(i), "江纳森");
    night.world.llm.rewrite = [](const std::string& content) {
        if (content.find("drop_terms") != std::string::npos)
            return std::string(R"({"remove": [{"id": 1, "reason": ""}], "drop_terms": []})");
        return reply({term("江纳森", "Jonathan", {1, 2})});
    };
}

TEST_F(Review, CancelledItChangesNothingAndTheNextOneGoesOn) {
    sayToday();
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1, 2})}));
    const auto cancelled = night.begin(night.reviewer->run());
    night.world.pass(100ms);
    EXPECT_EQ(night.reviewer->progress().all, 3U);
    night.reviewer->cancel();
    night.world.settle();
    ASSERT_TRUE(*cancelled);
    EXPECT_FALSE(**cancelled);
    EXPECT_FALSE(night.reviewer->running());
    EXPECT_TRUE(night.state().runs.empty());
    EXPECT_FALSE(night.knows("江纳森", "Jonathan"));
    night.world.llm.say(nothingToRemove);
    ASSERT_TRUE(night.review());
    EXPECT_TRUE(night.knows("江纳森", "Jonathan"));
    night.reviewer->cancel();
    EXPECT_EQ(night.state().runs.size(), 1U) << "what is done stays";
}

TEST_F(Review, IsAsBeforeOrAsAfterWheneverItIsKilledAndAsksNothingTwice) {
    int whole = 0;
    bool ended = false;
    for (int moment = 0; !ended; moment += moment < 40 ? 1 : 3) {
        Night killed;
        longDay(killed);
        const auto run = killed.begin(killed.reviewer->run());
        for (int step = 0; step < moment && !run->has_value(); ++step)
            killed.world.scheduler.step();
        ended = run->has_value();
        killed.crashAndRestart();
        auto load = [&]() -> asio::awaitable<bool> {
            co_await killed.reviewer->ledger().load();
            co_return true;
        };
        ASSERT_TRUE(killed.world.await(load()));
        const bool after = killed.state().runs.size() == 1;
        EXPECT_EQ(killed.knows("江纳森", "Jonathan"), after) << moment;
        EXPECT_EQ(killed.knows("测试测试", "tset"), !after) << moment;
        whole += after ? 1 : 0;

        ASSERT_TRUE(killed.review()) << moment;
        EXPECT_EQ(killed.state().runs.size(), 1U) << moment;
        EXPECT_TRUE(killed.knows("江纳森", "Jonathan")) << moment;
        EXPECT_FALSE(killed.knows("测试测试", "tset")) << moment;
        const auto all = killed.world.await(killed.world.vocabulary->allEntries());
        ASSERT_EQ(all->size(), 1U) << moment << killed.state().report.value_or("");
        EXPECT_EQ(all->front().frequency, 1) << "learned once, killed at " << moment;
        // The request that was under way is the only one that may be sent again.
        EXPECT_LE(killed.world.llm.requests.size(), 4U) << moment;
        ASSERT_LT(moment, 2'000);
    }
    EXPECT_GT(whole, 0);
}

TEST_F(Review, ADiskThatIsFullChangesNothing) {
    EXPECT_TRUE(night.review()) << "the file is there";
    sayToday();
    std::filesystem::remove(night.file("review.json"));
    std::filesystem::create_directory(night.file("review.json"));
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1, 2})}));
    night.world.llm.say(nothingToRemove);
    EXPECT_FALSE(night.review());
    EXPECT_TRUE(night.world.logSink->has("Couldn't save the review: "));
    EXPECT_FALSE(night.knows("江纳森", "Jonathan"));
    std::filesystem::remove(night.file("review.json"));
    EXPECT_TRUE(night.review()) << "nothing has to be asked again";
    EXPECT_EQ(night.world.llm.requests.size(), 2U);
    EXPECT_TRUE(night.knows("江纳森", "Jonathan"));
}

TEST_F(Review, IsAsBeforeOrAsAfterWhereverTheDiskIsFull) {
    int whole = 0;
    for (const rlim_t room :
         {0, 200, 1'000, 4'000, 5'000, 6'000, 20'000, 30'000, 60'000, 200'000}) {
        Night night;
        longDay(night);
        {
            const FullDisk full(room);
            (void)night.review();
        }
        night.crashAndRestart();
        auto load = [&]() -> asio::awaitable<bool> {
            co_await night.reviewer->ledger().load();
            co_return true;
        };
        ASSERT_TRUE(night.world.await(load()));
        const bool after = night.state().runs.size() == 1;
        whole += after ? 1 : 0;
        const bool waits =
            after && night.state().suggestions.front().status == NightlyReview::Status::pending;
        EXPECT_EQ(night.knows("江纳森", "Jonathan"), after && !waits) << room;
        ASSERT_TRUE(night.review()) << room;
        EXPECT_EQ(night.state().runs.size(), 1U) << room;
    }
    EXPECT_GT(whole, 0);
    EXPECT_LT(whole, 10);
}

TEST_F(Review, ADamagedFileIsKeptAsideAndAnOldOneIsRead) {
    std::ofstream(night.file("review.json")) << "{\"lastRun\": 1750";
    sayToday();
    night.world.llm.say(reply({}));
    EXPECT_TRUE(night.review());
    EXPECT_TRUE(std::filesystem::exists(night.file("review.json.damaged")));
}

TEST_F(Review, WhatIsLikelyTodayMayBeSureTomorrow) {
    night.log("江纳森到家了", "江纳森到家了");
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1})}));
    ASSERT_TRUE(night.review());
    EXPECT_EQ(night.state().suggestions.at(0).status, Status::pending);
    night.log("给江纳森打电话", "给江纳森打电话");
    night.log("江纳森在吗", "江纳森在吗");
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1, 2})}));
    ASSERT_TRUE(night.review());
    ASSERT_EQ(night.state().suggestions.size(), 1U);
    EXPECT_EQ(night.state().suggestions[0].status, Status::learned);
    EXPECT_EQ(night.state().suggestions[0].entries.size(), 3U);
    EXPECT_TRUE(night.knows("江纳森", "Jonathan"));

    // Once the user has made it their own, an undo of the night does not take it away.
    EXPECT_TRUE(
        night.world.await(night.world.vocabulary->learn("江纳森", "Jonathan", 1.0, "manual")));
    ASSERT_TRUE(night.world.await(night.reviewer->ledger().undoLastRun()));
    EXPECT_TRUE(night.knows("江纳森", "Jonathan"));
}

TEST_F(Review, ANetworkThatFailsInTheMiddleCostsNothing) {
    longDay(night);
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1, 2})}));
    night.world.llm.fail(HttpError::Kind::unreachable);
    EXPECT_FALSE(night.review());
    EXPECT_TRUE(night.reviewer->wantsRetry());
    EXPECT_TRUE(night.state().runs.empty());
    const auto before = night.world.llm.requests.size();
    const auto run = night.review();
    ASSERT_TRUE(run && *run);
    EXPECT_EQ((*run)->failedParts, 0);
    EXPECT_EQ(night.world.llm.requests.size() - before, 2U) << "the first part was answered";
}

TEST_F(Review, WhoeverHangsUpLeavesNothingHalfDone) {
    sayToday();
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1, 2})}));
    ASSERT_TRUE(night.review());
    for (int step = 0; step < 12; ++step) {
        {
            TaskScope caller(night.world.loop);
            caller.spawn([](NightlyReviewer& reviewer) -> asio::awaitable<void> {
                (void)co_await reviewer.ledger().undoLastRun();
            }(*night.reviewer));
            for (int i = 0; i < step; ++i)
                night.world.scheduler.step();
        }
        night.world.settle();
        EXPECT_EQ(night.knows("江纳森", "Jonathan"), !night.state().runs.back().undone) << step;
        EXPECT_TRUE(night.review()) << "the next run is not refused";
    }
    EXPECT_FALSE(night.knows("江纳森", "Jonathan"));
}

TEST_F(Review, AfterANoNothingMoreIsSent) {
    night.world.set("nightlyReview", "true");
    night.world.useServer();
    night.world.dictate("wait for jonah son");
    night.world.settle();
    night.world.server.delay = 20s;
    const auto run = night.begin(night.reviewer->run());
    night.world.pass(5s);  // the recording is being heard again
    night.world.set("rememberWhatISay", "false");
    night.world.pass(60s);
    ASSERT_TRUE(run->has_value());
    EXPECT_TRUE(night.world.llm.requests.empty());
    EXPECT_FALSE(std::filesystem::exists(night.file("review-progress.json")));
}

TEST_F(Review, WhatWasChangedByVoiceWasSaidOnceAndOldDaysAreNotReadAtFirst) {
    const auto id = night.log("江纳森 到了", "江纳森 到了");
    SessionStore::NewEntry changed;
    changed.timestamp = night.world.calendar.now() + 1s;
    changed.rawText = "江纳森 来了";
    changed.finalText = "江纳森 来了";
    changed.replaces = id;
    EXPECT_TRUE(night.world.await(night.world.store->log(changed, "org.example.mail", "Mail")));
    SessionStore::NewEntry old;
    old.timestamp = night.world.calendar.now() - std::chrono::days(20);
    old.rawText = old.finalText = "江纳森 早";
    EXPECT_TRUE(night.world.await(night.world.store->log(old, "org.example.mail", "Mail")));
    night.world.pass(2s);
    night.world.llm.say(reply({term("江纳森", "Jonathan", {1})}));
    const auto run = night.review();
    ASSERT_TRUE(run && *run);
    EXPECT_EQ((*run)->reviewed, 1);
    EXPECT_FALSE(night.knows("江纳森", "Jonathan"));
}

TEST_F(Review, TheKnowledgeBaseHasASecondTryOfItsOwn) {
    sayToday();
    night.world.llm.say(reply({}));
    night.world.llm.fail(HttpError::Kind::timedOut);
    NightWork work(night.world.calendar, *night.reviewer, *night.keeper);
    EXPECT_FALSE(night.world.await(work.run()));
    EXPECT_EQ(work.lastRun(), std::nullopt);
    night.world.llm.say(R"({"ops": []})");
    EXPECT_TRUE(night.world.await(work.run()));
    EXPECT_EQ(night.world.llm.requests.size(), 3U) << "the review is done already";
    EXPECT_FALSE(isDue(night.world.calendar, work.lastRun()));

    // Without a history there are meetings still.
    night.world.set("sessionLoggingEnabled", "false");
    EXPECT_TRUE(night.world.await(work.run()));
}

TEST_F(Review, WhatWasSaidOnThePhoneIsReadOnce) {
    const auto now = night.world.calendar.now().time_since_epoch().count();
    std::ofstream(night.file("Dictations-iPhone.json"))
        << json::array({{{"time", now - 60}, {"heard", "江纳森来了"}, {"sent", "江纳森来了"}},
                        {{"time", "yesterday"}, {"sent", "?"}}});
    night.world.llm.say(reply({}));
    const auto run = night.review();
    ASSERT_TRUE(run && *run);
    EXPECT_EQ((*run)->fromPhone, 1);
    EXPECT_TRUE(night.review());
    EXPECT_EQ(night.state().report, "Nothing new to review.");
}

}  // namespace
}  // namespace quillet::world
