#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "app/DictationDeletion.h"
#include "memory/HistoryErasure.h"
#include "world/Night.h"

namespace quillet::world {
namespace {

using nlohmann::json;

json filed(std::string_view op, int entry, std::string_view quote, std::string_view title) {
    return {{"op", op},         {"category", "sales"},
            {"title", title},   {"takeaway", "Ten percent is the most."},
            {"entry", entry},   {"quote", quote},
            {"confidence", 0.9}};
}

/// What a user says once, deletes, and looks for everywhere.
class Deleting : public ::testing::Test {
protected:
    Deleting() {
        auto& world = night.world;
        secret = night.log("Anna gets ten percent", "Anna gets ten percent");
        other = night.log("Bernd gets ten percent", "Bernd gets ten percent");
        world.llm.say(json{{"ops",
                            {filed("add", 1, "Anna gets ten percent", "Discount of Anna"),
                             filed("add", 2, "Bernd gets ten percent", "Discount of Bernd")}}}
                          .dump());
        EXPECT_TRUE(world.await(night.keeper->run()));
        world.llm.say(
            json{{"terms", json::array()},
                 {"fixes",
                  {{{"id", 1}, {"sent", "Anna gets ten percent"}, {"fixed", "Anna got 10 %."}}}},
                 {"memory", {{"profile", "Sells."}, {"terms", json::array()}}}}
                .dump());
        EXPECT_TRUE(night.review());
    }

    /// Whether a text stands in some file of the user's.
    bool isKept(std::string_view text) {
        for (const auto& entry :
             std::filesystem::recursive_directory_iterator(night.world.folder.path())) {
            if (!entry.is_regular_file())
                continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string content((std::istreambuf_iterator<char>(file)), {});
            if (content.contains(text))
                return true;
        }
        return false;
    }

    std::size_t items() { return night.world.await(night.keeper->state())->store.items.size(); }

    Night night;
    std::string secret;
    std::string other;
    DictationDeletion deletion{{night.world.loop, *night.world.store, *night.world.archive,
                                *night.keeper, *night.reviewer, *night.world.session}};
};

TEST_F(Deleting, LeavesNothingOfADictationAndUndoBringsAllOfItBack) {
    ASSERT_TRUE(isKept("Anna"));
    const auto before = night.world.await(night.keeper->state())->store.items.front();
    auto deleted = night.world.await(deletion.erase({secret}));
    ASSERT_TRUE(deleted);
    EXPECT_FALSE(isKept("Anna"));
    EXPECT_TRUE(isKept("Bernd"));
    EXPECT_EQ(items(), 1U);
    EXPECT_TRUE(night.state().suggestions.empty());

    ASSERT_TRUE(night.world.await(deletion.restore(std::move(*deleted))));
    EXPECT_EQ(items(), 2U);
    EXPECT_EQ(night.state().suggestions.size(), 1U);
    EXPECT_EQ(night.state().runs.back().found.size(), 1U);
    const auto after = night.world.await(night.keeper->state());
    const auto* item = after->store.item(before.id);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(Knowledge::searchedText(*item), Knowledge::searchedText(before));
    EXPECT_EQ(item->lastSeen, before.lastSeen);
}

TEST_F(Deleting, AnItemThatOtherWordsBearOutLosesItsQuoteOnly) {
    night.log("Anna is told ten percent again", "Anna is told ten percent again");
    night.world.llm.say(
        json{{"ops", {filed("add", 1, "Anna is told ten percent again", "Discount of Anna")}}}
            .dump());
    ASSERT_TRUE(night.world.await(night.keeper->run()));
    auto deleted = night.world.await(deletion.erase({secret}));
    ASSERT_TRUE(deleted);
    EXPECT_EQ(items(), 2U);
    EXPECT_FALSE(isKept("Anna gets"));
    const auto item = [this] { return night.world.await(night.keeper->state())->store.items[0]; };
    EXPECT_EQ(item().mentions, 1);
    ASSERT_TRUE(night.world.await(deletion.restore(std::move(*deleted))));
    EXPECT_EQ(item().mentions, 2);
    EXPECT_EQ(item().examples.front().quote, "Anna gets ten percent") << "by date again";
}

TEST_F(Deleting, EverythingGoesFromFilesAndMemory) {
    auto& world = night.world;
    world.dictate("Anna gets ten percent");
    ASSERT_TRUE(world.session->lastOutput());
    ASSERT_EQ(world.await(deletion.eraseAll()), DictationDeletion::Outcome::done);
    EXPECT_FALSE(isKept("percent"));
    EXPECT_FALSE(world.session->lastOutput());
    EXPECT_EQ(items(), 0U);
}

TEST_F(Deleting, EverythingIsAlsoWhatIsNotShown) {
    auto& world = night.world;
    world.set("nightlyReview", "true");
    world.useServer();
    world.dictate("Anna gets ten percent");
    world.settle();
    ASSERT_EQ(world.await(world.archive->list()).size(), 1U);
    SessionStore::Rules rules;
    rules.hides = [](const std::string&) { return true; };  // the application is excluded now
    SessionStore hiding(world.folder.path() / "sessions.db", std::move(rules), world.ids, world.log,
                        world.queue, nullptr);
    ASSERT_TRUE(world.await(eraseHistory(hiding, *world.archive)));
    EXPECT_TRUE(world.await(world.archive->list()).empty());
}

TEST_F(Deleting, TheCommandDoesItWithoutTheApplication) {
    ASSERT_TRUE(night.world.await(eraseHistory(*night.world.store, *night.world.archive)));
    EXPECT_TRUE(isKept("percent"));
    EXPECT_TRUE(
        forgetAllInFiles(night.file("knowledge.json"),
                         ReviewFile({night.file("review.json"), night.file("review-progress.json")},
                                    night.world.log)));
    EXPECT_FALSE(isKept("percent"));
}

TEST_F(Deleting, ARunUnderWayDoesNotFileWhatIsDeletedMeanwhile) {
    auto& world = night.world;
    const auto fresh = night.log("Carla gets nothing", "Carla gets nothing");
    world.llm.say(
        json{{"ops", {filed("add", 1, "Carla gets nothing", "Discount of Carla")}}}.dump());
    world.llm.delay = 20s;
    const auto run = night.begin(night.keeper->run());
    world.pass(5s);
    ASSERT_TRUE(night.world.await(deletion.erase({fresh})));
    world.pass(60s);
    ASSERT_TRUE(*run);
    EXPECT_FALSE(run->value()) << "it was broken off";
    EXPECT_EQ(items(), 2U);
    EXPECT_FALSE(isKept("Carla"));
}

}  // namespace
}  // namespace quillet::world
