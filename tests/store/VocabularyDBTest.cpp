#include "store/VocabularyDB.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <asio/co_spawn.hpp>
#include <asio/thread_pool.hpp>
#include <asio/use_future.hpp>
#include <fstream>

#include "base/async/CommandLoop.h"
#include "world/ScriptedServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::world {
namespace {

class Vocabulary : public ::testing::Test {
protected:
    Vocabulary() { open(); }

    void open() {
        db.reset();
        db = std::make_unique<VocabularyDB>(VocabularyDB::Files{path, dictionary}, log, nullptr);
    }
    template <class T>
    T run(asio::awaitable<T> task) {
        return loop.run(std::move(task));
    }
    void learn(std::string original, std::string corrected, std::string source = "manual",
               double confidence = 1.0) {
        EXPECT_TRUE(run(
            db->learn(std::move(original), std::move(corrected), confidence, std::move(source))));
    }
    std::vector<VocabEntry> all() { return *run(db->allEntries()); }

    /// Runs SQL in a connection of another program.
    std::string sql(const std::string& statement) {
        sqlite3* other = nullptr;
        sqlite3_open(path.c_str(), &other);
        sqlite3_busy_timeout(other, 2'000);
        std::string result;
        const auto collect = [](void* to, int count, char** values, char**) {
            for (int i = 0; i < count; ++i)
                *static_cast<std::string*>(to) += std::string(values[i] ? values[i] : "NULL") + " ";
            return 0;
        };
        char* error = nullptr;
        sqlite3_exec(other, statement.c_str(), collect, &result, &error);
        EXPECT_EQ(error, nullptr) << error;
        sqlite3_free(error);
        sqlite3_close(other);
        return result;
    }

    TemporaryFolder folder;
    std::filesystem::path path = folder.path() / ".quillet/vocabulary.db";
    std::filesystem::path dictionary = folder.path() / ".quillet/dictionary.json";
    std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
    Log log{sink, Log::PrivateText::hide};
    CommandLoop loop;
    std::unique_ptr<VocabularyDB> db;
};

TEST_F(Vocabulary, CountsUsesAndRemembersWhoSaidSo) {
    learn(" 江纳森\n", "Jonathan", "review", 0.7);
    learn("江纳森", "Jonathan", "review", 0.9);
    learn("江纳森", "Jonathan", "review", 0.2);
    EXPECT_EQ(all(), (std::vector<VocabEntry>{{"江纳森", "Jonathan", 3, "review"}}));
    EXPECT_EQ(sql("SELECT confidence FROM corrections"), "0.9 ");

    sql("UPDATE corrections SET learned_at = 5");
    learn("江纳森", "Jonathan", "usage");
    EXPECT_EQ(sql("SELECT learned_at, source FROM corrections"), "5.0 review ");
    learn("江纳森", "Jonathan", "manual");
    EXPECT_NE(sql("SELECT learned_at FROM corrections"), "5.0 ");
    learn("江纳森", "Jonathan", "review");
    EXPECT_EQ(all()[0].source, "manual") << "a hand's word stands";
    EXPECT_FALSE(sink->has("Jonathan"));
}

TEST_F(Vocabulary, RanksAndDeletes) {
    for (int i = 0; i < 3; ++i)
        learn("a one", "A");
    for (int i = 0; i < 4; ++i)
        learn("a two", "A", "review");
    for (int i = 0; i < 6; ++i)
        learn("bee", "B", "edit");
    EXPECT_EQ(all()[0].corrected, "B");
    EXPECT_EQ(run(db->topCorrected(5)), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(run(db->topCorrected(1)), (std::vector<std::string>{"A"}));
    EXPECT_TRUE(run(db->contains("bee", "B")));
    EXPECT_FALSE(run(db->contains("bee", "A")));
    EXPECT_TRUE(run(db->remove("bee", "B")));
    EXPECT_FALSE(run(db->remove("bee", "B")));
    EXPECT_EQ(run(db->resetAutoLearned()), 1);
    EXPECT_EQ(all(), (std::vector<VocabEntry>{{"a one", "A", 3, "manual"}}));
}

TEST_F(Vocabulary, MergesTwiceAsWellAsOnce) {
    for (int i = 0; i < 7; ++i)
        learn("seven", "Seven", "review");
    learn("gone", "Gone");
    const std::vector<VocabularyDB::SyncEntry> entries = {
        {"seven", "Seven", 5, 99, "manual"},
        {"new", "New", 1LL << 40, 77, std::nullopt},
        {"low", "Low", -(1LL << 40), 66, "usage"}};
    for (int times = 0; times < 2; ++times) {
        EXPECT_TRUE(run(db->mergeFromSync(entries, {{"gone", "Gone"}, {"never", "there"}})));
        const auto now = all();
        ASSERT_EQ(now.size(), 3U);
        EXPECT_EQ(now[0], (VocabEntry{"new", "New", 2'147'483'647, "sync"}));
        EXPECT_EQ(now[1], (VocabEntry{"seven", "Seven", 7, "manual"}));
        EXPECT_EQ(now[2].frequency, -2'147'483'647 - 1);
    }
    const auto exported = run(db->exportForSync());
    const auto found =
        std::ranges::find(exported, std::string("new"), &VocabularyDB::SyncEntry::original);
    EXPECT_EQ(*found, (VocabularyDB::SyncEntry{"new", "New", 2'147'483'647, 77, "sync"}));
}

TEST_F(Vocabulary, WhatOtherProgramsChangeIsSeen) {
    learn("one", "One");
    const auto before = run(db->allEntries());
    EXPECT_EQ(run(db->allEntries()), before) << "nothing is read twice for nothing";
    EXPECT_EQ(run(db->topCorrected(9)).size(), 1U);
    sql("INSERT INTO corrections (original, corrected) VALUES ('two', 'Two')");
    EXPECT_EQ(all().size(), 2U);
    EXPECT_EQ(run(db->topCorrected(9)).size(), 2U);
}

TEST_F(Vocabulary, NobodyOnAnyThreadReadsWhatWasTrueBefore) {
    constexpr int writers = 3;
    constexpr int pairs = 60;
    asio::thread_pool pool(writers);
    std::vector<std::future<int>> missed;
    for (int w = 0; w < writers; ++w) {
        auto write = [this, w]() -> asio::awaitable<int> {
            int missing = 0;
            for (int i = 0; i < pairs; ++i) {
                const auto word = std::to_string(w) + "-" + std::to_string(i);
                co_await db->learn("heard " + word, word, 1.0, "review");
                const auto entries = co_await db->allEntries();
                const auto top = co_await db->topCorrected(1'000);
                missing +=
                    std::ranges::find(*entries, word, &VocabEntry::corrected) == entries->end();
                missing += std::ranges::find(top, word) == top.end();
                co_await db->remove("heard " + word, word);
                const auto after = co_await db->allEntries();
                missing += std::ranges::find(*after, word, &VocabEntry::corrected) != after->end();
            }
            co_return missing;
        };
        missed.push_back(asio::co_spawn(pool, write, asio::use_future));
    }
    for (auto& one : missed)
        EXPECT_EQ(one.get(), 0);
    EXPECT_TRUE(all().empty());
}

TEST_F(Vocabulary, ATableOfAnyVersionIsTakenOverAndWeeded) {
    db.reset();
    std::filesystem::create_directories(path.parent_path());
    sql("CREATE TABLE corrections (id INTEGER PRIMARY KEY AUTOINCREMENT, original TEXT NOT NULL, "
        "corrected TEXT NOT NULL, frequency INTEGER DEFAULT 1, confidence REAL DEFAULT 1.0, source "
        "TEXT DEFAULT 'manual', created_at REAL DEFAULT (strftime('%s','now')), last_used REAL "
        "DEFAULT (strftime('%s','now')), UNIQUE(original, corrected));"
        "INSERT INTO corrections (original, corrected, source, created_at) VALUES ('old', 'Old', "
        "'user', 12);"
        "INSERT INTO corrections (original, corrected) VALUES ('" +
        std::string(24, 'a') + "', '" + std::string(40, 'b') + "'), ('" + std::string(25, 'a') +
        "', 'x'), ('y', '" + std::string(41, 'b') +
        "'), ('two lines', 'two' || char(10) || 'lines');");
    open();
    EXPECT_EQ(all().size(), 2U);
    EXPECT_EQ(sql("SELECT source, learned_at FROM corrections WHERE original = 'old'"),
              "manual 12.0 ");
    EXPECT_TRUE(sink->has("Pruned 3 garbage entries"));
    open();
    EXPECT_EQ(all().size(), 2U) << "opening again changes nothing";
}

TEST_F(Vocabulary, TheEarlyDictionaryIsTakenOverWhateverItHolds) {
    const auto withDictionary = [this](const std::string& content) {
        db.reset();
        std::filesystem::remove_all(path.parent_path());
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(dictionary) << content;
        open();
        return all();
    };
    const auto taken = withDictionary(
        R"({"江纳森": " Jonathan ", "number": 3, "list": [1], "null": null, "nul\u0000byte": "x",
            "a far too long original text": "x", "\ud83d": "lone"})");
    EXPECT_TRUE(taken.empty()) << "a lone surrogate is no JSON";
    EXPECT_TRUE(sink->has("JSON migration failed"));
    const auto pairs = withDictionary(
        R"({"江纳森": " Jonathan ", "number": 3, "list": [1], "null": null,
            "a far too long original text": "x", "": "y", "zhuzi": " ", "same": "same"})");
    EXPECT_EQ(pairs, (std::vector<VocabEntry>{{"江纳森", "Jonathan", 1, "manual"}}));
    EXPECT_TRUE(sink->has("Migrated 1 entries from JSON"));
    for (const auto* broken : {"", "{", "[1, 2]", "\"text\"", "\xFF\xFE"})
        EXPECT_TRUE(withDictionary(broken).empty()) << broken;
    EXPECT_TRUE(withDictionary(std::string(1'000'000, '[')).empty());

    withDictionary(R"({"one": "One"})");
    learn("two", "Two");
    EXPECT_TRUE(run(db->remove("one", "One")));
    open();
    EXPECT_EQ(all().size(), 1U) << "only an empty vocabulary takes it over";
}

TEST_F(Vocabulary, WithoutItsFileItIsEmptyAndComesBack) {
    db.reset();
    std::filesystem::create_directories(path);  // a folder stands in its place
    open();
    EXPECT_TRUE(all().empty());
    EXPECT_FALSE(run(db->learn("one", "One", 1.0, "manual")));
    EXPECT_TRUE(run(db->lastError()).has_value());
    EXPECT_TRUE(sink->has("Failed to open database"));
    std::filesystem::remove(path);
    learn("one", "One");
    EXPECT_EQ(all().size(), 1U);
}

TEST(VocabularyPair, KeepsToItsLimits) {
    const auto usable = [](const std::string& original, const std::string& corrected) {
        return checkPair(original, corrected).has_value();
    };
    EXPECT_TRUE(usable("会员", "Member"));
    EXPECT_FALSE(usable("会", "Member"));
    EXPECT_TRUE(usable("abcd", "x"));
    EXPECT_FALSE(usable("abc", "x"));
    EXPECT_TRUE(usable("ab中", "x")) << "English means ASCII only";
    EXPECT_TRUE(usable(std::string(24, 'a'), std::string(40, 'b')));
    EXPECT_FALSE(usable(std::string(25, 'a'), "b"));
    EXPECT_FALSE(usable("heard", std::string(41, 'b')));
    EXPECT_FALSE(usable("same text", " same text "));
    EXPECT_FALSE(usable("heard", "two\nlines"));
    EXPECT_FALSE(usable("heard", ""));
}

}  // namespace
}  // namespace quillet::world
