#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "world/Night.h"

namespace quillet::world {
namespace {

using nlohmann::json;

std::string addOp(int entry, const std::string& quote, const std::string& title,
                  double confidence = 0.9) {
    return json{{"ops", json::array({{{"op", "add"},
                                      {"category", "sales"},
                                      {"title", title},
                                      {"takeaway", "Ten percent is the most."},
                                      {"entry", entry},
                                      {"quote", quote},
                                      {"confidence", confidence}}})}}
        .dump();
}

class Distilling : public ::testing::Test {
protected:
    KnowledgeKeeper::Distilled distil() { return night.world.await(night.keeper->run()); }
    const KnowledgeKeeper::State& base() {
        snapshot = night.world.await(night.keeper->state());
        return *snapshot;
    }
    std::string sent(std::size_t request) {
        return json::parse(*night.world.llm.requests.at(request).body).dump();
    }

    Night night;
    KnowledgeKeeper::Snapshot snapshot;
};

TEST_F(Distilling, FilesWhatWasSaidOnce) {
    night.log("x", "For Anna ten percent is the most we give");
    night.log("x", "My password is hunter2horse");
    night.world.llm.say("```json\n" + addOp(1, "ten percent is the most", "Discounts") + "\n```");
    const auto report = distil();
    ASSERT_TRUE(report);
    ASSERT_EQ(base().store.items.size(), 1U);
    const auto& item = base().store.items.front();
    EXPECT_EQ(item.examples.front().quote, "ten percent is the most");
    EXPECT_EQ(item.examples.front().bundleID, "org.example.mail");
    EXPECT_EQ(sent(0).find("hunter2horse"), std::string::npos);

    EXPECT_EQ(distil(), "Nothing new to file.");
    EXPECT_EQ(night.world.llm.requests.size(), 1U);
    night.crashAndRestart();
    EXPECT_EQ(base().store.items.size(), 1U);
    EXPECT_EQ(distil(), "Nothing new to file.");
    EXPECT_EQ(night.world.llm.requests.size(), 1U);
}

TEST_F(Distilling, AMeetingNoteIsReadAgainWhenItChanges) {
    std::filesystem::create_directory(night.file("meetings"));
    const auto note = night.file("meetings") / "2026-01-02 10.00 Price.md";
    std::ofstream(note) << "# Price\n\nWe give ten percent.\n";
    std::ofstream(night.file("meetings") / "2026-01-02 11.00 会议（进行中）.md") << "a draft";
    night.world.llm.say(R"({"ops": []})");
    ASSERT_TRUE(distil());
    EXPECT_NE(sent(0).find("We give ten percent."), std::string::npos);
    EXPECT_EQ(sent(0).find("a draft"), std::string::npos);
    ASSERT_TRUE(distil());
    EXPECT_EQ(night.world.llm.requests.size(), 1U);

    std::ofstream(note) << "# Price\n\nWe give twenty percent.\n";
    std::filesystem::last_write_time(note, std::filesystem::file_time_type::clock::now() + 1h);
    night.world.llm.say(R"({"ops": []})");
    ASSERT_TRUE(distil());
    EXPECT_NE(sent(1).find("We give twenty percent."), std::string::npos);
}

TEST_F(Distilling, CancelledItKeepsWhatWasAnsweredAndTheNextOneGoesOn) {
    for (int i = 0; i < 100; ++i)
        night.log("x", "Sentence number " + std::to_string(i) + ".");
    night.world.llm.say(addOp(1, "Sentence number 0.", "First"));
    night.world.llm.rewrite = [](const std::string&) { return R"({"ops": []})"; };
    const auto cancelled = night.begin(night.keeper->run());
    while (night.world.llm.requests.size() < 2)
        night.world.pass(10ms);
    night.keeper->cancel();
    night.world.settle();
    ASSERT_TRUE(*cancelled);
    EXPECT_FALSE(**cancelled);
    EXPECT_FALSE(night.keeper->running());
    EXPECT_FALSE(night.keeper->wantsRetry()) << "the user does not want it now";
    EXPECT_EQ(base().store.items.size(), 1U);
    EXPECT_EQ(distil(), "Nothing new to file.");
    EXPECT_EQ(sent(2).find("Sentence number 39."), std::string::npos) << "it is read already";
    EXPECT_NE(sent(2).find("Sentence number 40."), std::string::npos);
}

TEST_F(Distilling, ALargeDayIsReadInPartsAndGoesOnWhereItStopped) {
    for (int i = 0; i < 100; ++i)
        night.log("x", "Sentence number " + std::to_string(i) + ".");
    night.world.llm.say(addOp(1, "Sentence number 0.", "First"));
    night.world.llm.fail(HttpError::Kind::timedOut);
    EXPECT_EQ(distil().error(), "The LLM didn't answer — trying again later.");
    EXPECT_EQ(base().store.items.size(), 1U) << "what was answered is kept";
    // One entry makes the model talk.
    night.world.llm.rewrite = [this](const std::string&) {
        const auto system = night.world.llm.lastBody()["messages"][0]["content"].get<std::string>();
        return system.find("Sentence number 47.") != std::string::npos ? "Let me think."
                                                                       : R"({"ops": []})";
    };
    const auto report = distil();
    ASSERT_TRUE(report);
    EXPECT_EQ(*report, "Nothing new to file. For one entry there was no reply that could be read.");
    EXPECT_NE(sent(2).find("Sentence number 40."), std::string::npos);
    EXPECT_EQ(sent(2).find("Sentence number 39."), std::string::npos);
    EXPECT_NE(sent(night.world.llm.requests.size() - 1).find("Sentence number 99."),
              std::string::npos);
    EXPECT_EQ(distil(), "Nothing new to file.");
}

TEST_F(Distilling, AModelThatOnlyTalksCostsNoEntries) {
    for (int i = 0; i < 100; ++i)
        night.log("x", "Sentence number " + std::to_string(i) + ".");
    night.world.llm.rewrite = [](const std::string&) { return "Let me think."; };
    EXPECT_FALSE(distil());
    EXPECT_LT(night.world.llm.requests.size(), 10U);
    EXPECT_FALSE(base().cursor.readUpTo.has_value());
}

TEST_F(Distilling, PausedMemoryIsFrozenAlsoInTheMiddle) {
    night.log("x", "For Anna ten percent is the most we give");
    night.world.llm.say(addOp(1, "ten percent is the most", "Discounts"));
    const auto run = night.begin(night.keeper->run());
    night.world.pass(10ms);
    night.world.set("rememberWhatISay", "false");
    night.world.settle();
    ASSERT_TRUE(run->has_value());
    EXPECT_FALSE(run->value());
    EXPECT_TRUE(base().store.items.empty());
    EXPECT_EQ(distil().error(), "Memory is paused (Memory & Knowledge).");
}

TEST_F(Distilling, WhatIsDeletedStaysDeleted) {
    night.log("x", "For Anna ten percent is the most we give");
    night.world.llm.say(addOp(1, "ten percent is the most", "Discounts"));
    ASSERT_TRUE(distil());
    const auto id = base().store.items.front().id;
    night.log("x", "And ten percent it stays");
    night.world.llm.say(json{{"ops", json::array({{{"op", "enrich"},
                                                   {"item", id},
                                                   {"entry", 1},
                                                   {"quote", "ten percent it stays"},
                                                   {"confidence", 0.9}}})}}
                            .dump());
    const auto run = night.begin(night.keeper->run());
    night.world.pass(10ms);
    ASSERT_TRUE(night.world.await(night.keeper->deleteItem(id))) << "while the model thinks";
    night.world.settle();
    ASSERT_TRUE(run->has_value());
    EXPECT_TRUE(base().store.items.empty());
    EXPECT_FALSE(night.world.await(night.keeper->deleteItem(id)));
    EXPECT_FALSE(night.world.await(night.keeper->deleteCategory("nonsense")));
    EXPECT_TRUE(night.world.await(night.keeper->deleteCategory("Ideas")));
    EXPECT_NE(base().store.category("ideas"), nullptr) << "what is built in is only emptied";
}

TEST_F(Distilling, ADiskThatIsFullKeepsTheBaseInMemory) {
    night.log("x", "For Anna ten percent is the most we give");
    std::filesystem::create_directory(night.file("knowledge.json"));
    std::ofstream(night.file("knowledge.json") / "in the way") << "a file";
    night.world.llm.say(addOp(1, "ten percent is the most", "Discounts"));
    (void)base();
    std::filesystem::create_directory(night.file("knowledge.json"));
    ASSERT_TRUE(distil());
    EXPECT_TRUE(night.world.logSink->has("Couldn't save the knowledge base: "));
    EXPECT_EQ(base().store.items.size(), 1U);
    std::filesystem::remove_all(night.file("knowledge.json"));
    night.log("x", "Something else entirely");
    night.world.llm.say(R"({"ops": []})");
    ASSERT_TRUE(distil());
    night.crashAndRestart();
    EXPECT_EQ(base().store.items.size(), 1U) << "it was saved with the next change";
}

TEST_F(Distilling, KilledAtAnyMomentNothingIsFiledTwiceOrLost) {
    bool ended = false;
    for (int moment = 0; !ended; ++moment) {
        ASSERT_LT(moment, 500);
        Night killed;
        for (int i = 0; i < 50; ++i)
            killed.log("x", "Sentence number " + std::to_string(i) + ".");
        killed.world.llm.rewrite = [&killed](const std::string&) {
            const auto system =
                killed.world.llm.lastBody()["messages"][0]["content"].get<std::string>();
            const bool first = system.find("Sentence number 0.") != std::string::npos;
            return first ? addOp(1, "Sentence number 0.", "First")
                         : addOp(1, "Sentence number 40.", "Second");
        };
        const auto run = killed.begin(killed.keeper->run());
        for (int step = 0; step < moment && !run->has_value(); ++step)
            killed.world.scheduler.step();
        ended = run->has_value();
        killed.crashAndRestart();
        ASSERT_TRUE(killed.world.await(killed.keeper->run()));
        const auto state = killed.world.await(killed.keeper->state());
        ASSERT_EQ(state->store.items.size(), 2U) << moment;
        for (const auto& item : state->store.items)
            EXPECT_EQ(item.mentions, 1) << moment;
    }
}

}  // namespace
}  // namespace quillet::world
