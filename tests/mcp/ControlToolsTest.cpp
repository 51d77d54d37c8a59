#include "Tools.h"
#include "mcp/ToolTime.h"

namespace quillet::world {
namespace {

using nlohmann::json;

class Allowed : public Tools {
protected:
    Allowed() { world.set("mcpAllowControl", "true"); }
};

TEST_F(Allowed, DictatesForTheClient) {
    const auto asked = begin("dictate", {{"max_seconds", 5'000}});
    world.pass(1s);
    EXPECT_EQ(refusal("dictate"), "Quillet is busy with another dictation");
    world.say("what a client asked for", 2s);
    world.tap(fnCtrl);
    world.settle();
    ASSERT_TRUE(*asked);
    EXPECT_FALSE((*asked)->isError);
    EXPECT_EQ((*asked)->text, "what a client asked for");
    EXPECT_EQ(world.field(), "");

    for (const auto& [arguments, ends] : {std::pair(json{{"max_seconds", 0}}, 1s),
                                          {json::object(), 120s},
                                          {json{{"max_seconds", 5'000}}, 600s}}) {
        const auto unused = begin("dictate", arguments);
        world.pass(ends - 100ms);
        EXPECT_FALSE(*unused) << arguments;
        world.pass(1s);
        ASSERT_TRUE(*unused) << arguments;
        EXPECT_TRUE((*unused)->isError);
    }
}

TEST_F(Allowed, TypesAtTheCursor) {
    EXPECT_EQ(text("insert_text", {{"text", "Hello"}}), "Typed at the cursor");
    EXPECT_EQ(world.field(), "Hello");
    EXPECT_EQ(refusal("insert_text"), "Empty text");
    EXPECT_EQ(refusal("insert_text", {{"text", "\n"}}), "Empty text");
    world.set("sessionBlacklist", R"(["org.example.editor"])");
    EXPECT_TRUE(refusal("insert_text", {{"text", "x"}}).contains("excluded"));
    EXPECT_EQ(world.field(), "Hello");
}

TEST_F(Allowed, TeachesSpellings) {
    const auto teach = [this](const std::string& heard, const std::string& written) {
        return call("add_vocabulary", {{"heard", heard}, {"written", written}}).text;
    };
    EXPECT_EQ(teach(" get hub ", "GitHub"), "Learned: get hub → GitHub");
    EXPECT_EQ(teach("江森", "Jonathan"), "Learned: 江森 → Jonathan");
    for (const auto& [heard, written] : {std::pair("ab", "abc"),
                                         {"", "x"},
                                         {"word", ""},
                                         {"word", "two\nlines"},
                                         {"江", "x"},
                                         {"same", "same"}})
        EXPECT_EQ(teach(heard, written),
                  "Not a usable pair: 'heard' needs 2–24 characters (4+ for English), 'written' a "
                  "short single line");
    const auto known = ask("get_vocabulary");
    ASSERT_EQ(known.size(), 2);
    EXPECT_TRUE(
        std::ranges::find(known, json{{"heard", "get hub"}, {"written", "GitHub"}, {"count", 1}}) !=
        known.end());
}

TEST_F(Allowed, ReviewsTheDayAndTellsOfIt) {
    EXPECT_EQ(text("get_nightly_review"), "No review yet");
    EXPECT_EQ(text("list_knowledge"), "Nothing distilled yet");
    EXPECT_EQ(refusal("run_nightly_review"), "The nightly review is off in Settings");
    world.set("nightlyReview", "true");
    world.set("rememberWhatISay", "false");
    EXPECT_EQ(refusal("run_nightly_review"), "The nightly review is off in Settings");
    world.set("rememberWhatISay", "true");
    EXPECT_EQ(text("run_nightly_review"), "Nothing new to review");

    night.log("ask get hub", "ask get hub");
    world.llm.say(R"({"terms": [{"heard": "get hub", "written": "GitHub", "ids": [1],
                                 "confidence": 0.9, "reason": "a site"}],
                      "fixes": [{"id": 1, "sent": "ask get hub", "fixed": "Ask GitHub.",
                                 "reason": "a name"}],
                      "memory": {"profile": "Writes code.", "terms": ["GitHub"]}})");
    world.llm.say(R"({"remove": [], "drop_terms": []})");
    const auto run = ask("run_nightly_review");
    EXPECT_EQ(run["reviewed"], 1);
    EXPECT_EQ(run["from_iphone"], 0);
    EXPECT_EQ(run["learned"], json::array());
    EXPECT_EQ(run["asked"],
              (json{{{"heard", "get hub"}, {"written", "GitHub"}, {"reason", "a site"}}}));
    EXPECT_EQ(run["fixes"],
              (json{{{"sent", "ask get hub"}, {"fixed", "Ask GitHub."}, {"reason", "a name"}}}));
    EXPECT_EQ(run["memory_before"]["profile"], "");
    EXPECT_EQ(run["memory_after"]["profile"], "Writes code.");
    EXPECT_FALSE(run.contains("parts_unanswered"));

    night.log("again", "again");
    world.llm.answer(500, "");
    EXPECT_TRUE(refusal("run_nightly_review").contains("LLM"));
    const auto state = ask("get_nightly_review");
    EXPECT_EQ(state["runs"], json::array({run}));
    EXPECT_EQ(state["waiting_for_user"].size(), 2);
    EXPECT_FALSE(state["report"].get<std::string>().empty());
}

/// Notes on which loop it is asked.
class WatchedControl final : public AgentControl {
public:
    explicit WatchedControl(Loop& main) : main_(main) {}
    asio::awaitable<Text> dictate(std::chrono::seconds) override { co_return asked("dictated"); }
    asio::awaitable<std::expected<void, std::string>> type(std::string) override {
        asked("");
        co_return std::expected<void, std::string>();
    }
    asio::awaitable<std::vector<Recording>> recordings() override {
        asked("");
        co_return std::vector<Recording>();
    }
    asio::awaitable<std::optional<Text>> transcribeRecording(std::string id) override {
        co_return asked(std::move(id));
    }
    asio::awaitable<Text> transcribeFile(AudioFile file) override {
        co_return asked(std::move(file.fileExtension));
    }
    int elsewhere = 0;

private:
    Text asked(std::string answer) {
        elsewhere += main_.isRunningHere() ? 0 : 1;
        return answer;
    }
    Loop& main_;
};

TEST_F(Allowed, AsksTheMainQueueFromItsOwnLoop) {
    SimLoop calls;
    SimScheduler scheduler(calls);
    WatchedControl control(world.loop);
    MCPTools apart{{calls, scheduler, world.loop, world.calendar, *world.settings, *world.store,
                    *world.vocabulary, *night.notes, *night.reviewer, *night.keeper, control}};
    write("a.wav", "RIFF");
    // Known already, they could be looked at anywhere.
    (void)world.await(night.keeper->state());
    night.tasks->spawn(night.reviewer->ledger().load());
    world.scheduler.drain();
    const json everything = {{"query", "x"},
                             {"text", "x"},
                             {"id", "x"},
                             {"name", "x"},
                             {"heard", "gut hub"},
                             {"written", "GitHub"},
                             {"path", night.file("a.wav").string()}};
    for (const auto& tool : MCPTools::toolDefinitions()) {
        std::optional<Result> result;
        bool isBack = false;
        const auto call = [&]() -> asio::awaitable<void> {
            result = co_await apart.callTool(tool.at("name").get<std::string>(), everything);
            isBack = calls.isRunningHere();
        };
        TaskScope client(calls);
        client.spawn(call());
        calls.drain();
        EXPECT_FALSE(result) << tool["name"] << " asks nobody";
        for (int turn = 0; turn < 200 && !result; ++turn) {
            calls.drain(1);
            world.loop.drain(1);
            if (turn == 100)
                scheduler.advance(1min);
        }
        ASSERT_TRUE(result) << tool["name"];
        EXPECT_TRUE(isBack) << tool["name"];
        EXPECT_FALSE(result->text.starts_with("Not allowed")) << tool["name"];
    }
    EXPECT_EQ(control.elsewhere, 0);
}

}  // namespace
}  // namespace quillet::world
