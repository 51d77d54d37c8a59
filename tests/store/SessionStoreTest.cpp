#include "store/SessionStore.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <fstream>
#include <numeric>
#include <random>

#include "world/World.h"

namespace quillet::world {
namespace {

using Time = Calendar::UnixTime;

Time at(double seconds) {
    return Time(std::chrono::duration<double>(seconds));
}

class History : public ::testing::Test {
protected:
    void open(SessionStore::Rules rules = {}) {
        store.reset();
        scheduler.drain();
        store = std::make_unique<SessionStore>(
            path, std::move(rules), ids, log, std::make_shared<SerialQueue>(loop.executor()),
            [this] { ++posted; },
            [this](const std::vector<std::string>& gone) {
                ++deletions;
                deleted = gone;
            });
    }
    template <class T>
    T run(asio::awaitable<T> task) {
        std::optional<T> result;
        TaskScope tasks(loop);
        auto keep = [&]() -> asio::awaitable<void> { result.emplace(co_await std::move(task)); };
        tasks.spawn(keep());
        scheduler.drain();
        return std::move(result).value();
    }
    std::optional<std::string> add(double time, std::optional<std::string> app,
                                   std::string text = "words", EntryKind kind = {},
                                   std::optional<std::string> name = std::nullopt) {
        SessionStore::NewEntry entry;
        entry.id = "entry-" + std::to_string(++added_);
        entry.timestamp = at(time);
        entry.rawText = text + " (raw)";
        entry.finalText = std::move(text);
        entry.kind = kind;
        return run(store->log(std::move(entry), std::move(app), std::move(name)));
    }
    std::vector<TranscriptEntry> search(SessionStore::Filter filter) {
        return run(store->search(std::move(filter)));
    }
    [[nodiscard]] std::string contentOf(const char* suffix) const {
        std::ifstream file(path.string() + suffix, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    [[nodiscard]] bool filesHold(std::string_view text) const {
        return contentOf("").contains(text) || contentOf("-wal").contains(text);
    }
    void sql(const std::string& statement) const {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
        char* error = nullptr;
        EXPECT_EQ(sqlite3_exec(db, statement.c_str(), nullptr, nullptr, &error), SQLITE_OK)
            << error;
        sqlite3_close(db);
    }

    TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "sessions.db";
    SimLoop loop;
    SimScheduler scheduler{loop};
    std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
    Log log{sink, Log::PrivateText::hide};
    std::shared_ptr<SimIds> ids = std::make_shared<SimIds>();
    std::unique_ptr<SessionStore> store;
    int posted = 0;
    int deletions = 0;
    std::vector<std::string> deleted;  // by the last deletion

    void TearDown() override {
        store.reset();
        scheduler.drain();
    }

private:
    int added_ = 0;
};

TEST_F(History, GapsOfTenMinutesPartSessions) {
    open();
    add(10'000, "app");
    add(10'599, "app");
    add(11'199, "app");  // exactly 600 s: still the same
    auto sessions = run(store->recentSessions(10));
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].entryCount, 3);
    EXPECT_FALSE(sessions[0].endedAt);

    add(11'800, "app");  // 601 s later
    sessions = run(store->recentSessions(10));
    ASSERT_EQ(sessions.size(), 2U);
    EXPECT_EQ(sessions[1].endedAt, at(11'200));
    EXPECT_FALSE(sessions[0].endedAt);
    EXPECT_EQ(posted, 4);
}

TEST_F(History, ApplicationsAndTheirAbsenceHaveSessionsOfTheirOwn) {
    open();
    add(100, "one", "a", EntryKind::dictation, "One");
    add(110, std::nullopt, "b");
    add(120, "two", "c");
    add(130, std::nullopt, "d");
    EXPECT_EQ(run(store->recentSessions(10)).size(), 3U);
    EXPECT_EQ(run(store->recentSessions(2)).size(), 2U);
    const auto all = run(store->entriesSince(std::nullopt));
    ASSERT_EQ(all.size(), 4U);
    EXPECT_EQ(all[0].appName, "One");
    EXPECT_EQ(all[2].appName, "two");
    EXPECT_FALSE(all[1].appName);
    EXPECT_EQ(all[1].sessionID, all[3].sessionID);
    EXPECT_EQ(run(store->entries(all[1].sessionID)).size(), 2U);
    EXPECT_EQ(run(store->entriesSince(at(120))).size(), 2U);
}

TEST_F(History, SearchTakesEveryFilterLiterally) {
    open();
    add(1, "org.editor", "100% sure", EntryKind::dictation, "Editor");
    add(2, "org.editor", "a_b \\ c", EntryKind::live, "Editor");
    add(3, "org.chat", "100 percent");
    const auto count = [this](SessionStore::Filter filter) {
        return search(std::move(filter)).size();
    };
    EXPECT_EQ(count({.text = "100%"}), 1U);
    EXPECT_EQ(count({.text = "a_b"}), 1U);
    EXPECT_EQ(count({.text = "\\"}), 1U);
    EXPECT_EQ(count({.text = "100"}), 2U);
    EXPECT_EQ(count({.text = "(raw)"}), 3U);
    EXPECT_EQ(count({.application = "EDITOR"}), 2U);
    EXPECT_EQ(count({.application = "ORG.chat"}), 1U);
    EXPECT_EQ(count({.from = at(2), .until = at(2)}), 1U);
    EXPECT_EQ(count({.kinds = {EntryKind::live}}), 1U);
    EXPECT_EQ(count({.kinds = {EntryKind::live, EntryKind::dictation}}), 3U);
    EXPECT_EQ(count({.text = "100", .application = "editor", .kinds = {EntryKind::live}}), 0U);
    EXPECT_EQ(count({}), 3U);
    const auto newest = search({.limit = 1});
    ASSERT_EQ(newest.size(), 1U);
    EXPECT_EQ(newest[0].finalText, "100 percent");
}

TEST_F(History, PurgeKeepsWhatIsExactlyAsOldAsAllowed) {
    open();
    constexpr double now = 5'000'000;
    add(now - 2'592'000 - 1, "old");
    add(now - 2'592'000, "kept");
    EXPECT_TRUE(run(store->purge(30, at(now))));
    const auto left = run(store->entriesSince(std::nullopt));
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0].appBundleID, "kept");
    EXPECT_EQ(run(store->recentSessions(10)).size(), 1U);
}

TEST_F(History, DeleteAllLeavesNothingInTheFile) {
    open();
    for (int i = 0; i < 500; ++i)
        add(i, "app", "an unforgettable sentence");
    EXPECT_TRUE(run(store->deleteAll()));
    EXPECT_TRUE(run(store->entriesSince(std::nullopt)).empty());
    EXPECT_FALSE(filesHold("unforgettable"));
    for (const auto* suffix : {"", "-wal"})
        EXPECT_LE(contentOf(suffix).size(), 64U * 1024U) << suffix;
    EXPECT_TRUE(deleted.empty()) << "no ids: of everything";
    EXPECT_EQ(deletions, 1);
}

// Of all sizes, so that pages are split, merged and put in order again, and texts go over to pages
// of their own.
TEST_F(History, WhatIsDeletedIsNowhereInTheFilesAnyMore) {
    open();
    std::mt19937 random(7);
    std::uniform_int_distribution<std::size_t> sizes(1, 120);
    std::vector<std::string> ids;
    for (int i = 0; i < 600; ++i) {
        std::string text;
        const auto repeats = i % 50 == 0 ? 900 : sizes(random);
        for (std::size_t k = 0; k < repeats; ++k)
            text += fmt::format("secret{:03}. ", i);
        ids.push_back(add(i * 100.0, i % 3 == 0 ? "one" : "two", text).value());
    }
    ASSERT_TRUE(filesHold("secret123."));
    std::vector<int> order(600);
    std::iota(order.begin(), order.end(), 0);
    std::ranges::shuffle(order, random);
    for (int done = 0; done < 400; done += 4) {
        std::vector<std::string> some;
        for (int k = done; k < done + 4; ++k)
            some.push_back(ids[static_cast<std::size_t>(order[static_cast<std::size_t>(k)])]);
        ASSERT_TRUE(run(store->deleteEntries(some)));
        EXPECT_EQ(deleted, some);
    }
    const auto everything = contentOf("") + contentOf("-wal");
    for (int k = 0; k < 600; ++k) {
        const auto secret = fmt::format("secret{:03}.", order[static_cast<std::size_t>(k)]);
        EXPECT_EQ(everything.contains(secret), k >= 400) << secret;
    }
}

TEST_F(History, WhatSomebodyReadsWhileItIsDeletedGoesFromTheFilesAfterwards) {
    open();
    const auto id = add(1, "app", "an unforgettable sentence").value();
    sqlite3* reader = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &reader), SQLITE_OK);
    const auto read = [&](const char* statement) {
        EXPECT_EQ(sqlite3_exec(reader, statement, nullptr, nullptr, nullptr), SQLITE_OK);
    };
    read("BEGIN; SELECT * FROM transcript_entries;");
    ASSERT_TRUE(run(store->deleteEntries({id})));
    ASSERT_TRUE(filesHold("unforgettable"));
    read("COMMIT;");
    (void)run(store->recentSessions(1));
    EXPECT_FALSE(filesHold("unforgettable"));
    sqlite3_close(reader);
}

TEST_F(History, WhatWasDeletedComesBackAsItWas) {
    open();
    add(100, "one", "first", EntryKind::live, "One");
    add(110, "one", "second");
    sql("UPDATE sessions SET summary = 'of it', tags = '[\"x\"]';"
        "UPDATE transcript_entries SET replaces = 'entry-1' WHERE id = 'entry-2';");
    const auto before = run(store->entriesSince(std::nullopt));
    // The first leaves its session behind, the second takes it along.
    const auto one = run(store->deleteEntries({"entry-1", "none such"}));
    const auto two = run(store->deleteEntries({"entry-2"}));
    ASSERT_TRUE(one && two);
    EXPECT_TRUE(run(store->recentSessions(9)).empty());
    EXPECT_FALSE(run(store->entry("entry-1")));
    EXPECT_TRUE(run(store->restore(*two)));
    EXPECT_TRUE(run(store->restore(*one)));
    EXPECT_TRUE(run(store->restore(*one))) << "twice is once";
    const auto after = run(store->entriesSince(std::nullopt));
    ASSERT_EQ(after.size(), 2U);
    EXPECT_EQ(after[0].kind, EntryKind::live);
    EXPECT_EQ(after[0].rawText, before[0].rawText);
    EXPECT_EQ(after[0].appName, "One");
    EXPECT_EQ(after[1].replaces, "entry-1");
    const auto sessions = run(store->recentSessions(9));
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].summary, "of it");
    EXPECT_EQ(sessions[0].tags, std::vector<std::string>{"x"});
    EXPECT_TRUE(add(120, "one"));
    EXPECT_EQ(run(store->recentSessions(9)).size(), 1U) << "it goes on";
}

TEST_F(History, PagesMeetWithoutGapAndOverlap) {
    open();
    for (int i = 0; i < 40; ++i) {
        const int moment = i / 6 * 10;
        add(moment, i % 2 == 0 ? "one" : "two", i % 5 == 0 ? "Übung heute" : "else");
    }
    for (const auto& words : {std::vector<std::string>{}, {"übung"}, {"HEUTE", "übung"}}) {
        SessionStore::Filter filter{.words = words, .application = "one"};
        const auto all = search(filter);
        EXPECT_EQ(all.size(), words.empty() ? 20U : 4U);
        std::vector<TranscriptEntry> paged;
        filter.limit = 3;
        for (auto page = search(filter); !page.empty(); page = search(filter)) {
            filter.before = SessionStore::Filter::Place{page.back().timestamp, page.back().id};
            std::ranges::move(page, std::back_inserter(paged));
        }
        EXPECT_TRUE(std::ranges::equal(all, paged, {}, &TranscriptEntry::id, &TranscriptEntry::id));
    }
    const auto sessions = run(store->recentSessions(9));
    ASSERT_EQ(sessions.size(), 2U);
    EXPECT_EQ(search({.words = {"else"}, .session = sessions[0].id}).size(), 16U);
}

TEST_F(History, ASearchThatIsNotWantedAnyMoreEndsEarly) {
    HistoryConnection connection(path, {}, ids, log);
    open();
    for (int i = 0; i < 2'000; ++i)
        add(i, "app");
    const auto searched = [&](const std::stop_token& stop) {
        return connection.database.perform(std::size_t{0}, [&](SQLite::Database& db) {
            return searchHistory(connection, db, {.words = {"words"}, .limit = 5'000}, stop).size();
        });
    };
    std::stop_source stop;
    int asked = 0;
    connection.rules.hides = [&](const std::string&) {
        if (++asked == 10)
            stop.request_stop();
        return false;
    };
    EXPECT_EQ(searched(stop.get_token()), 0U);
    EXPECT_LT(asked, 2'000) << "it did not go through all of them";
    EXPECT_FALSE(connection.database.lastError());
    EXPECT_EQ(searched({}), 2'000U) << "the connection is none the worse for it";
}

TEST_F(History, OlderDatabasesAreTakenOver) {
    sql("CREATE TABLE sessions (id TEXT PRIMARY KEY, started_at REAL NOT NULL, ended_at REAL, "
        "app_bundle_id TEXT, app_display_name TEXT, summary TEXT, tags TEXT);"
        "CREATE TABLE transcript_entries (id TEXT PRIMARY KEY, session_id TEXT NOT NULL, timestamp "
        "REAL NOT NULL, raw_text TEXT NOT NULL, final_text TEXT NOT NULL, was_cancelled INTEGER "
        "NOT "
        "NULL DEFAULT 0);"
        "INSERT INTO sessions VALUES ('s', 1, NULL, 'app', 'App', NULL, '[\"x\"]');"
        "INSERT INTO transcript_entries VALUES ('e', 's', 1, 'raw', 'final', 0);");
    open();
    const auto entries = run(store->entriesSince(std::nullopt));
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].kind, EntryKind::dictation);
    EXPECT_FALSE(entries[0].replaces);
    EXPECT_EQ(run(store->recentSessions(1))[0].tags, std::vector<std::string>{"x"});
    EXPECT_TRUE(add(2, "app"));
    open();  // and once more, with nothing left to migrate
    EXPECT_EQ(run(store->entriesSince(std::nullopt)).size(), 2U);
}

TEST_F(History, RulesDecideWhatIsKeptAndShown) {
    open();
    add(1, "secret");
    SessionStore::Rules rules;
    rules.keeps = [](const std::string& app) { return app != "unlogged"; };
    rules.hides = [](const std::string& app) { return app == "secret"; };
    open(std::move(rules));
    EXPECT_FALSE(add(2, "unlogged"));
    EXPECT_FALSE(run(store->lastError()));
    EXPECT_TRUE(add(3, "plain"));
    EXPECT_EQ(run(store->entriesSince(std::nullopt)).size(), 1U);
    EXPECT_EQ(search({.text = "words"}).size(), 1U);
    EXPECT_EQ(run(store->recentSessions(9)).size(), 1U);
}

TEST_F(History, ABadDatabaseDoesNothingAndSaysSo) {
    std::ofstream(path) << std::string(8'192, 'x');
    open();
    EXPECT_FALSE(add(1, "app"));
    EXPECT_TRUE(run(store->lastError()));
    EXPECT_TRUE(run(store->recentSessions(5)).empty());
    EXPECT_TRUE(sink->has("Failed to open database at"));
    // Once the bad file is gone, the store works again without a restart.
    std::filesystem::remove(path);
    EXPECT_TRUE(add(2, "app"));
    EXPECT_FALSE(run(store->lastError()));
}

TEST_F(History, AFullDiskAndALockCostTheEntryAndNothingElse) {
    open();
    add(1, "app");
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    EXPECT_FALSE(add(2, "app"));
    EXPECT_TRUE(run(store->lastError()));
    EXPECT_EQ(run(store->entriesSince(std::nullopt)).size(), 1U);
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    EXPECT_TRUE(add(3, "app"));
}

}  // namespace
}  // namespace quillet::world
