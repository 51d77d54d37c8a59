#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "world/World.h"

namespace quillet::world {
namespace {

/// What an AI client may ask of the controller.
class Agent : public ::testing::Test {
protected:
    using Result = RecordingSession::AgentResult;

    /// Asks for a dictation and goes on; the answer comes to `answer`.
    TaskHandle ask(std::chrono::seconds time) {
        auto wait = [](Agent& self, std::chrono::seconds most) -> asio::awaitable<void> {
            self.answer = co_await self.world.session->dictateForAgent(most);
        };
        const auto task = clients.spawn(wait(*this, time));
        world.pass(10ms);
        return task;
    }
    std::string type(const std::string& text) {
        const auto typed = world.await(world.session->typeText(text));
        return typed ? "" : typed.error();
    }

    World world;
    TaskScope clients{world.loop};
    std::optional<Result> answer;
};

TEST_F(Agent, GetsTheTextInsteadOfTheField) {
    ask(60s);
    EXPECT_EQ(world.panel.banners.back(), "Dictating for your AI — Fn+Ctrl when done");
    world.say("buy example dot com", 1s);
    EXPECT_EQ(world.await(world.session->dictateForAgent(60s)),
              Result(std::unexpected("Quillet is busy with another dictation")));
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(answer, Result("buy example.com"));
    EXPECT_EQ(world.field(), "");
    EXPECT_EQ(world.state(), RecognitionState::idle);
    ASSERT_EQ(world.history().size(), 1U);
    EXPECT_FALSE(world.history()[0].appBundleID);
    world.tap(ctrlAlt, Key::v);
    world.settle();
    EXPECT_EQ(world.field(), "buy example.com");
}

TEST_F(Agent, AskingMayTakeAsLongAsItSays) {
    for (const auto& [asked, ends] : {std::pair(3s, 3s), {0s, 1s}, {9'999s, 600s}}) {
        answer.reset();
        ask(asked);
        world.say("words", 500ms);
        world.silence(std::chrono::duration_cast<std::chrono::milliseconds>(ends) - 600ms);
        EXPECT_EQ(world.state(), RecognitionState::recording) << asked.count();
        world.settle();
        EXPECT_EQ(answer, Result("words")) << asked.count();
    }
}

TEST_F(Agent, HearsThatNothingCame) {
    const Result nothing =
        std::unexpected("No speech was captured, or the dictation was cancelled");
    const std::function<void()> ends[] = {
        [this] { world.tap({}, Key::escape); }, [this] { world.tap(fnCtrl); },
        [this] { world.microphone.unplug(); },
        [this] {
            world.microphone.failure.reset();
            world.silence(2s);
            world.tap(fnCtrl);
        },
        [this] {
            world.transcriber.failure = OnDeviceTranscriber::Failure::unavailable;
            world.say("words", 1s);
            world.tap(fnCtrl);
        }};
    for (const auto& end : ends) {
        answer.reset();
        ask(60s);
        end();
        world.settle();
        EXPECT_EQ(answer, nothing);
        world.microphone.failure.reset();
    }
}

TEST_F(Agent, AClientThatGoesAwayTakesNoWordsWithIt) {
    const auto client = ask(60s);
    world.say("still here", 1s);
    client.cancel();
    world.pass(1ms);
    EXPECT_NE(world.state(), RecognitionState::recording) << "nobody listens";
    world.settle();
    EXPECT_EQ(world.notice(),
              "Your AI isn't listening any more — Ctrl+Option+V pastes what you said");
    EXPECT_EQ(world.session->lastOutput(), "still here");
    EXPECT_EQ(world.field(), "");
}

TEST_F(Agent, TypesWithoutTheBreaksAtTheEnd) {
    world.dictate("before ");
    EXPECT_EQ(type("two\nlines\n\r\n\v\f\u0085\u2028\u2029"), "");
    world.settle();
    EXPECT_EQ(world.field(), "beforetwo\nlines");
    EXPECT_FALSE(world.session->lastPaste());
    EXPECT_EQ(world.history().size(), 1U);
    EXPECT_EQ(type("\n\n"), "Empty text");
    EXPECT_EQ(type("\tof\r\nfour"), "");
    world.settle();
    EXPECT_EQ(world.field(), "beforetwo\nlines\tof\nfour");
    EXPECT_EQ(
        type(std::string("a\0b", 3)),
        "The text holds a control character (U+0000) — only tabs and line feeds can be typed");
    EXPECT_TRUE(type("an\x1b[31m escape").contains("U+001B"));
    EXPECT_EQ(world.field(), "beforetwo\nlines\tof\nfour");
    EXPECT_TRUE(world.desktop.returnsPosted.empty());
}

TEST_F(Agent, AClientThatGoesAwayWhileItsTextIsTypedLeavesNothingBehind) {
    for (auto moment = 0ms; moment < 80ms; moment += 3ms) {
        world.desktop.pasteboard.copyByUser("the user's");
        world.desktop.inputSource.source = "pinyin";
        auto wait = [](World& here) -> asio::awaitable<void> {
            (void)co_await here.session->typeText("from the client");
        };
        const auto client = clients.spawn(wait(world));
        world.pass(moment);
        client.cancel();
        world.settle();
        EXPECT_EQ(world.desktop.pasteboard.text(), "the user's") << moment.count();
        EXPECT_EQ(world.desktop.inputSource.source, "pinyin") << moment.count();
        EXPECT_EQ(world.session->injectingFlag(), 0);
    }
}

TEST_F(Agent, LearnsNothingOfTheApplicationInFront) {
    world.useModel("smart");
    world.set("useScreenTerms", "true");
    world.desktop.open("com.bitwarden.desktop", "Passwords").front.windowTitle = "My vault";
    ask(60s);
    world.say("buy some bread", 1s);
    world.tap(fnCtrl);
    world.settle();
    const auto prompt = world.llm.lastBody().dump();
    EXPECT_EQ(prompt.find("Passwords"), std::string::npos);
    EXPECT_EQ(prompt.find("My vault"), std::string::npos);
}

TEST_F(Agent, IsRefusedInOrder) {
    auto& app = world.desktop.open("com.bitwarden.desktop", "Passwords");
    app.security = FocusedField::Security::secure;
    ask(60s);
    EXPECT_EQ(type("x"), "Quillet is busy with a dictation");
    world.tap({}, Key::escape);
    EXPECT_EQ(type("x"), "A password field is active");
    app.security = FocusedField::Security::plain;
    EXPECT_EQ(type("x"), "The app in front is on Quillet's excluded list");
    EXPECT_EQ(app.field, "");
    world.desktop.front = "org.example.editor";
    world.desktop.keysFail = true;
    world.desktop.pasteboard.copyByUser("the user's");
    EXPECT_EQ(type("x"), "The text could not be typed: no application took it");
    EXPECT_EQ(world.desktop.pasteboard.text(), "the user's") << "nothing is left behind";
}

}  // namespace
}  // namespace quillet::world
