#include "Tools.h"
#include "app/HistoryRules.h"
#include "base/async/CommandLoop.h"
#include "mcp/ToolTime.h"

namespace quillet::world {
namespace {

using nlohmann::json;

class Listening : public Tools {
protected:
    /// Dictates, and tells of it.
    std::string say(const std::string& words, std::optional<std::string> replaces = {}) {
        auto id = world.await(log(words, std::move(replaces)));
        tools.entryLogged();
        return id.value_or("");
    }
    asio::awaitable<std::optional<std::string>> log(std::string words,
                                                    std::optional<std::string> replaces = {}) {
        SessionStore::NewEntry entry;
        entry.timestamp = world.calendar.now();
        entry.rawText = "heard " + words;
        entry.finalText = std::move(words);
        entry.replaces = std::move(replaces);
        co_return co_await world.store->log(std::move(entry), "org.example.mail", "Mail");
    }
    void drain() { world.scheduler.drain(); }
    /// With other databases.
    MCPTools toolsFor(SessionStore& history, VocabularyDB& vocabulary) {
        return MCPTools{{world.loop, world.scheduler, world.loop, world.calendar, *world.settings,
                         history, vocabulary, *night.notes, *night.reviewer, *night.keeper,
                         access}};
    }
    /// What each tool gives that reads the history.
    std::vector<Result> readAll(MCPTools& from) {
        std::vector<Result> results;
        const json everything = {
            {"query", "secret"}, {"after", "2025-01-01T00:00:00Z"}, {"timeout_seconds", 5}};
        for (const auto* const tool : {"get_transcripts", "wait_for_dictation", "search_memory"})
            results.push_back(world.await(from.callTool(tool, everything)));
        return results;
    }
};

TEST_F(Listening, ReadsWhatWasDictatedNewestFirst) {
    const auto first = say("one");
    const auto time = isoText(world.calendar.now());
    world.pass(2ms);
    const auto second = say("two", first);
    const auto all = ask("get_transcripts");
    EXPECT_EQ(ids(all), (std::vector{second, first}));
    EXPECT_EQ(all[1], (json{{"id", first},
                            {"time", time},
                            {"app", "Mail"},
                            {"heard", "heard one"},
                            {"text", "one"}}));
    EXPECT_EQ(all[0]["replaces"], first);
    EXPECT_EQ(ids(ask("get_transcripts", {{"since", time}})), (std::vector{second}));
    EXPECT_EQ(ids(ask("get_transcripts", {{"limit", -3}})), (std::vector{second}));
    for (int i = 0; i < 200; ++i)
        world.await(log("more"));
    EXPECT_EQ(ask("get_transcripts", {{"limit", 500}}).size(), 200);
    EXPECT_EQ(ask("get_transcripts").size(), 20);
    const std::string much(100'000, 'x');
    say(much);
    EXPECT_EQ(ask("get_transcripts", {{"limit", 1}})[0]["text"], much);
}

TEST_F(Listening, ShowsNothingOfApplicationsThatAreExcluded) {
    const HistoryRules rules(*world.settings, world.notifications);
    SessionStore history(world.folder.path() / "sessions.db", rules.rules(), world.ids, world.log,
                         world.queue, nullptr);
    MCPTools asked = toolsFor(history, *world.vocabulary);
    world.await(log("a secret"));
    for (const auto& result : readAll(asked))
        EXPECT_TRUE(result.text.contains("a secret")) << result.text;
    world.set("sessionBlacklist", R"(["org.example.mail"])");
    for (const auto& result : readAll(asked)) {
        EXPECT_FALSE(result.isError);
        EXPECT_EQ(result.text, "[]");
    }
}

TEST_F(Listening, SaysThatADatabaseCannotBeRead) {
    const auto path = world.folder.path() / "broken.db";
    std::filesystem::create_directory(path);
    SessionStore broken(path, {}, world.ids, world.log, world.queue, nullptr);
    VocabularyDB unknown({path, world.folder.path() / "none.json"}, world.log, world.queue);
    MCPTools asked = toolsFor(broken, unknown);
    for (const auto& result : readAll(asked)) {
        EXPECT_TRUE(result.isError);
        EXPECT_EQ(result.text, "The history cannot be read — quillet doctor says why");
    }
    EXPECT_EQ(world.await(asked.callTool("get_vocabulary", json::object())).text,
              "The vocabulary cannot be read");
}

TEST_F(Listening, HearsOfADictationAtOnce) {
    const auto heard = begin("wait_for_dictation");
    world.pass(1s);
    say("now");
    drain();
    ASSERT_TRUE(*heard);
    EXPECT_EQ(json::parse((*heard)->text).size(), 1);
}

TEST_F(Listening, HearsOfADictationThatComesWhileItReads) {
    const auto path = world.folder.path() / "sessions.db";
    CommandLoop elsewhere;
    SessionStore writer(path, {}, world.ids, world.log, nullptr, nullptr);
    const auto store = [&](const std::string& app) {
        SessionStore::NewEntry entry;
        entry.timestamp = world.calendar.now() + 1s;
        (void)elsewhere.run(writer.log(std::move(entry), app, app));
    };
    // The store asks this when it has begun to read: what comes now it does not see.
    std::function<void()> whileReading;
    SessionStore::Rules rules;
    rules.hides = [&](const std::string& app) {
        if (auto happens = std::exchange(whileReading, nullptr))
            happens();
        return app == "hidden";
    };
    SessionStore reader(path, std::move(rules), world.ids, world.log, world.queue, nullptr);
    MCPTools listening = toolsFor(reader, *world.vocabulary);
    store("hidden");
    whileReading = [&] {
        store("seen");
        listening.entryLogged();
    };
    const auto heard = night.begin(listening.callTool("wait_for_dictation", json::object()));
    drain();
    const bool isAtOnce = heard->has_value();
    world.pass(1min);
    EXPECT_FALSE(whileReading);
    ASSERT_TRUE(isAtOnce) << "without waiting for its next look";
    EXPECT_EQ(json::parse((*heard)->text).size(), 1);
}

TEST_F(Listening, ReturnsNothingTwice) {
    const auto first = say("one");
    world.pass(Scheduler::Duration(1'234'567));
    const auto second = say("two", first);
    const auto start = isoText(world.calendar.now() - 1s);
    const auto heard = ask("wait_for_dictation", {{"after", start}});
    EXPECT_EQ(ids(heard), (std::vector{first, second})) << "oldest first";
    EXPECT_EQ(heard[1]["replaces"], first);
    EXPECT_EQ(ids(ask("wait_for_dictation", {{"after", heard[0]["time"]}})), (std::vector{second}));
    EXPECT_EQ(text("wait_for_dictation", {{"after", heard[1]["time"]}}), "[]");
}

TEST_F(Listening, WaitsAsLongAsItIsAskedTo) {
    const auto shortest = begin("wait_for_dictation", {{"timeout_seconds", 1}});
    const auto usual = begin("wait_for_dictation");
    const auto longest = begin("wait_for_dictation", {{"timeout_seconds", 1'000}});
    const auto endsAt = [this](const auto& wait, std::chrono::milliseconds time) {
        world.pass(time - 1ms);
        EXPECT_FALSE(*wait);
        world.pass(1ms);
        ASSERT_TRUE(*wait);
        EXPECT_EQ((*wait)->text, "[]");
    };
    endsAt(shortest, 5s);
    endsAt(usual, 45s);
    endsAt(longest, 250s);
    EXPECT_EQ(world.scheduler.timerCount(), 0U);
}

TEST_F(Listening, FindsWhatAnotherProcessLogged) {
    const auto heard = begin("wait_for_dictation");
    world.pass(1s);
    world.await(log("from elsewhere"));
    world.pass(5s);
    ASSERT_TRUE(*heard);
    EXPECT_EQ(json::parse((*heard)->text).size(), 1);
}

TEST_F(Listening, LetsFourWaitAndGivesPlacesBack) {
    std::vector<std::shared_ptr<std::optional<Result>>> waits;
    for (int i = 0; i < 3; ++i)
        waits.push_back(begin("wait_for_dictation"));
    std::optional<TaskScope> client(world.loop);
    auto fourth = [](MCPTools& asked) -> asio::awaitable<void> {
        (void)co_await asked.callTool("wait_for_dictation", json::object());
    };
    client->spawn(fourth(tools));
    drain();
    EXPECT_EQ(refusal("wait_for_dictation"), "Already 4 waits open — let one return first");
    client.reset();  // it goes away
    waits.push_back(begin("wait_for_dictation"));
    drain();
    EXPECT_FALSE(*waits.back());
    EXPECT_EQ(refusal("wait_for_dictation"), "Already 4 waits open — let one return first");
    world.pass(2ms);
    say("for all of them");
    drain();
    for (const auto& wait : waits) {
        ASSERT_TRUE(*wait);
        EXPECT_FALSE((*wait)->isError);
    }
    EXPECT_EQ(text("wait_for_dictation"), "[]") << "all places are free";
}

}  // namespace
}  // namespace quillet::world
