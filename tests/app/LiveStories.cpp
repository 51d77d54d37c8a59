#include <gtest/gtest.h>

#include "audio/Wav.h"
#include "world/World.h"

namespace quillet::world {
namespace {

constexpr Modifiers liveChord = {Modifier::function, Modifier::control, Modifier::command};

/// Writing while recording goes on.
class Live : public ::testing::Test {
protected:
    Live() { world.useServer(); }
    void begin() { world.tap(liveChord); }
    void finish() {
        world.tap(fnCtrl);
        world.settle();
    }
    /// A piece of speech that a pause makes a segment of.
    void segment(const std::string& text) {
        world.say(text, 8s);
        world.silence(3s);
    }
    /// The samples in a request to the server.
    static auto uploaded(std::string_view body) {
        const auto wav = body.substr(body.find("RIFF"));
        std::uint32_t bytes = 0;
        std::memcpy(&bytes, wav.data() + 40, sizeof bytes);
        return decodeOwnWav(wav.substr(0, 44 + bytes));
    }

    World world;
};

TEST_F(Live, EachPauseIsWrittenWhileRecordingGoesOn) {
    begin();
    EXPECT_EQ(world.panel.banners.back(),
              "Recording other people? Let them know and get their consent first.\n"
              "Live — pause and it's written · Fn+Ctrl to finish");
    segment("hello there");
    EXPECT_EQ(world.field(), "hello there");
    EXPECT_EQ(world.state(), RecognitionState::recording);
    segment("你好");
    segment("end 2");
    world.say("3 and the rest", 2s);
    finish();
    EXPECT_EQ(world.field(), "hello there你好end 2 3 and the rest");
    EXPECT_TRUE(world.logSink->has("Live done: 4 segment(s), 0 failed"));
    const auto entries = world.history();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].kind, EntryKind::live);
    EXPECT_EQ(entries[0].finalText, world.field());
    EXPECT_EQ(world.session->lastOutput(), world.field());
    EXPECT_TRUE(world.archive->items().empty());
    begin();
    EXPECT_EQ(world.panel.banners.back(), "Live — pause and it's written · Fn+Ctrl to finish")
        << "the reminder comes once";
}

TEST_F(Live, TheDeviceDictatesInstead) {
    world.set("sttEngineType", "apple");
    begin();
    EXPECT_EQ(world.panel.banners.back(),
              "Live mode isn't available with this engine — dictating normally");
    segment("all of it");
    EXPECT_EQ(world.field(), "");
    finish();
    EXPECT_EQ(world.field(), "all of it");
    EXPECT_EQ(world.history().back().kind, EntryKind::dictation);
}

TEST_F(Live, ARunningDictationBecomesLiveWithAllThatWasSaid) {
    world.tap(fnCtrl);
    world.say("before it was live", 1s);
    world.session->changeIntent(HotkeyMode::live);
    world.silence(1s);
    finish();
    EXPECT_EQ(world.field(), "before it was live");
    // Once live it stays live, and there is nothing to amend then.
    begin();
    world.session->changeIntent(HotkeyMode::translate);
    segment("as it was said");
    EXPECT_TRUE(world.field().ends_with("as it was said"));
    EXPECT_FALSE(world.session->lastPaste());
    finish();
}

TEST_F(Live, WordsStandInTheOrderOfSpeakingWhateverTheServerDoes) {
    begin();
    world.server.delay = 40s;
    world.say("first", 8s);
    world.silence(2'600ms);
    world.server.delay = 100ms;
    segment("second");
    segment("third");
    EXPECT_EQ(world.field(), "") << "the second has to wait for the first";
    world.server.delay = 10s;
    segment("fourth");
    finish();
    world.settle();
    EXPECT_EQ(world.field(), "first second third fourth");
}

TEST_F(Live, APartThatIsNotRecognisedIsKeptAndCounted) {
    world.transcriber.failure = OnDeviceTranscriber::Failure::unavailable;
    begin();
    segment("heard");
    world.server.fail(HttpError::Kind::timedOut);
    segment("lost to the server");
    world.pass(20s);
    segment("heard again");
    finish();
    EXPECT_EQ(world.field(), "heard heard again");
    EXPECT_TRUE(world.logSink->has("Live segment failed: "));
    EXPECT_TRUE(world.logSink->has("3 segment(s), 1 failed"));
    EXPECT_EQ(world.notice(),
              "1 of 3 parts weren't recognised — saved in menu → Recent Recordings");
    ASSERT_EQ(world.archive->items().size(), 1U);
    // It can be sent again.
    world.session->sendAgain(world.archive->items()[0].id);
    world.settle();
    EXPECT_TRUE(world.field().ends_with("lost to the server"));
}

TEST_F(Live, WhatCannotBeTypedWaitsAndIsCopiedAtTheEnd) {
    begin();
    segment("one");
    world.desktop.open("org.example.other", "Other");
    segment("two");
    segment("three");
    EXPECT_EQ(world.field(), "") << "not into another application";
    EXPECT_EQ(world.session->live().unpasted, " two three");
    world.desktop.front = "org.example.editor";
    world.silence(1s);
    EXPECT_EQ(world.field(), "one two three") << "as soon as it is in front again";
    world.desktop.front = "org.example.other";
    segment("four");
    finish();
    EXPECT_EQ(world.notice(), "App changed — the rest is copied");
    EXPECT_EQ(world.desktop.pasteboard.text(), " four");
    EXPECT_EQ(world.history().back().finalText, "one two three four");
    EXPECT_EQ(world.field(), "");
}

TEST_F(Live, APasswordFieldGetsNothing) {
    begin();
    segment("one");
    world.desktop.frontApp().security = FocusedField::Security::secure;
    segment("two");
    EXPECT_EQ(world.field(), "one");
    world.desktop.frontApp().security = FocusedField::Security::plain;
    segment("three");
    finish();
    EXPECT_EQ(world.field(), "one two three");
}

TEST_F(Live, CancelledItKeepsWhatWasWritten) {
    begin();
    segment("one");
    world.say("two", 3s);
    world.tap({}, Key::escape);
    EXPECT_EQ(world.state(), RecognitionState::idle);
    world.settle();
    EXPECT_EQ(world.field(), "one");
    ASSERT_EQ(world.history().size(), 1U);
    EXPECT_TRUE(world.history()[0].wasCancelled);
    EXPECT_EQ(world.history()[0].finalText, "one");
    // An older run's answer is nobody's.
    world.server.delay = 20s;
    begin();
    segment("three");
    world.tap({}, Key::escape);
    begin();
    world.server.delay = 100ms;
    segment("four");
    finish();
    world.settle();
    EXPECT_EQ(world.field(), "onefour");
    EXPECT_EQ(world.server.underWay, 0);
}

TEST_F(Live, AnEndOfTheProgramKeepsWhatIsNotWritten) {
    world.server.delay = 60s;
    begin();
    segment("one");
    world.say("two", 2s);
    auto end = [](World& here) -> asio::awaitable<bool> {
        co_await here.session->shutDown();
        co_return true;
    };
    EXPECT_TRUE(world.await(end(world)));
    EXPECT_EQ(world.archive->items().size(), 2U);
    world.crashAndRestart();
    // A crash leaves each part that is under way to be offered.
    world.server.delay = 60s;
    begin();
    segment("three");
    world.say("four", 2s);
    world.crashAndRestart();
    EXPECT_EQ(world.recovered, 2U);
}

TEST_F(Live, AnHourLosesNoSampleAndHoldsOnlyWhatIsUnderWay) {
    std::vector<std::int16_t> said;
    std::size_t compared = 0;
    int most = 0;
    world.server.respond = [&](const HttpRequest& request) {
        const auto part = uploaded(*request.body);
        EXPECT_TRUE(part && compared + part->size() <= said.size() &&
                    std::equal(part->begin(), part->end(),
                               said.begin() + static_cast<std::ptrdiff_t>(compared)))
            << compared;
        compared += part ? part->size() : 0;
        most = std::max(most, world.server.underWay);
        world.server.requests.clear();
        return ScriptedServer::Scripted{2s, 200, R"({"text": "words"})"};
    };
    begin();
    const auto hear = [&](std::int16_t loudness, std::chrono::milliseconds time) {
        for (auto passed = 0ms; passed < time; passed += 20ms) {
            // No two buffers are the same, so none can stand for another.
            std::vector<std::int16_t> buffer(320, loudness);
            buffer[0] = static_cast<std::int16_t>(said.size() / 320 % 30'000);
            said.insert(said.end(), buffer.begin(), buffer.end());
            world.microphone.hear(buffer);
            world.pass(20ms);
        }
    };
    while (said.size() < 3'600UL * 16'000) {
        hear(3'000, std::chrono::milliseconds(5'000 + said.size() / 16'000 % 97 * 300));
        hear(20, std::chrono::milliseconds(500 + said.size() / 16'000 % 5 * 700));
    }
    hear(3'000, 1s);
    finish();
    EXPECT_EQ(compared, said.size());
    EXPECT_LE(most, 3);
    const auto& pieces = world.session->live().output;
    EXPECT_GT(pieces.size(), 50U);
    EXPECT_EQ(world.history().size(), 1U);
    EXPECT_TRUE(world.archive->items().empty());
}

}  // namespace
}  // namespace quillet::world
