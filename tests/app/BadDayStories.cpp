#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "world/World.h"

namespace quillet::world {
namespace {

class BadDay : public ::testing::Test {
protected:
    /// Speaks a whole dictation and waits for its end.
    void dictate(const std::string& text) {
        world.tap(fnCtrl);
        world.say(text, 1s);
        world.tap(fnCtrl);
        world.settle();
    }
    void expectOfferedAgain(const std::string& text) {
        const auto items = world.archive->items();
        ASSERT_EQ(items.size(), 1U);
        world.session->sendAgain(items[0].id);
        world.settle();
        EXPECT_EQ(world.field(), text);
    }

    World world;
};

TEST_F(BadDay, NoMicrophone) {
    world.microphone.failure = AudioInputSink::Ending::noDevice;
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.notice(), "Recording failed to start");
    EXPECT_EQ(world.state(), RecognitionState::idle);
    EXPECT_EQ(world.session->lastSTTError()->error.kind, STTError::Kind::noInputDevice);
    world.microphone.failure.reset();
    dictate("it is back");
    EXPECT_EQ(world.field(), "it is back");
}

TEST_F(BadDay, TheMicrophoneIsUnpluggedInMidSentence) {
    world.tap(fnCtrl);
    world.say("all that was said", 1s);
    world.microphone.unplug();
    world.settle();
    EXPECT_EQ(world.field(), "all that was said");
    EXPECT_EQ(world.state(), RecognitionState::idle);
}

TEST_F(BadDay, AMicrophoneThatIsSilentAsTheGrave) {
    world.tap(fnCtrl);
    world.pass(2s);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.notice(), "No microphone audio");
}

TEST_F(BadDay, ALanguageWithoutAModel) {
    world.set("selectedLanguage", "简体中文");
    dictate("ni hao");
    EXPECT_EQ(world.notice(),
              "On-device recognition failed: This language isn't available for on-device "
              "recognition — saved in menu → Recent Recordings");
    world.set("selectedLanguage", "English");
    expectOfferedAgain("ni hao");
}

TEST_F(BadDay, ServersThatFailKeepTheRecordingWhereTheDeviceCannotHelp) {
    world.useServer();
    world.transcriber.languages.clear();
    const std::vector<std::pair<std::function<void()>, std::string>> failures = {
        {[&] { world.server.fail(HttpError::Kind::unreachable); }, "Network error"},
        {[&] { world.server.fail(HttpError::Kind::timedOut); }, "Network error"},
        {[&] { world.server.fail(HttpError::Kind::broken); }, "Network error"},
        {[&] { world.server.answer(401, "{}"); }, "STT server: HTTP 401"},
        {[&] {
             for (int i = 0; i < 3; ++i)
                 world.server.answer(429, "");
         },
         "STT server: HTTP 429"},
        {[&] {
             for (int i = 0; i < 3; ++i)
                 world.server.answer(500, "");
         },
         "STT server: HTTP 500"},
        {[&] {
             for (int i = 0; i < 3; ++i)
                 world.server.answer(200, "<html>");
         },
         "STT response parse failed"},
    };
    for (const auto& [fail, reason] : failures) {
        world.desktop.frontApp().field.clear();
        fail();
        dictate("keep me");
        EXPECT_EQ(world.notice(),
                  "Speech server failed: " + reason + " — saved in menu → Recent Recordings");
        EXPECT_EQ(world.field(), "");
        EXPECT_EQ(world.state(), RecognitionState::idle);
        expectOfferedAgain("keep me");
        EXPECT_EQ(world.archive->items()[0].text, "keep me");
        EXPECT_EQ(world.await(world.archive->deleteAll()), 1U);
    }
    EXPECT_EQ(world.history().size(), failures.size());
}

TEST_F(BadDay, AServerThatIsNotSetUp) {
    world.set("sttEngineType", "cloud");
    dictate("nowhere to go");
    EXPECT_EQ(world.notice(),
              "Speech server failed: Speech service not set up — saved in menu → "
              "Recent Recordings");
    EXPECT_TRUE(world.server.requests.empty());
}

TEST_F(BadDay, TheDeviceStandsInForAServerThatFails) {
    world.useServer();
    const std::vector<std::pair<std::function<void()>, std::string>> failures = {
        {[&] { world.server.fail(HttpError::Kind::unreachable); }, "Server unreachable"},
        {[&] { world.server.answer(401, "{}"); }, "Check the API key"},
        {[&] {
             for (int i = 0; i < 3; ++i)
                 world.server.answer(429, "");
         },
         "Server busy"},
        {[&] {
             for (int i = 0; i < 3; ++i)
                 world.server.answer(200, "<html>");
         },
         "Server unreachable"},
    };
    for (const auto withPreview : {"false", "true"}) {
        world.set("showsTextWhileSpeaking", withPreview);
        for (const auto& [fail, reason] : failures) {
            world.desktop.frontApp().field.clear();
            fail();
            dictate("heard here too");
            EXPECT_EQ(world.field(), "heard here too");
            EXPECT_EQ(world.notice(), reason + " — recognized on this Mac");
            EXPECT_TRUE(world.archive->items().empty());
        }
    }
}

TEST_F(BadDay, WhatWasShownWhileSpeakingCanBePastedWhenNobodyRecognises) {
    world.useServer();
    world.set("showsTextWhileSpeaking", "true");
    world.server.fail(HttpError::Kind::unreachable);
    world.transcriber.failure = OnDeviceTranscriber::Failure::unavailable;
    dictate("heard here too");
    EXPECT_EQ(world.notice(),
              "Speech server failed: Network error — Ctrl+Option+V pastes what you said");
    world.tap(ctrlAlt, Key::v);
    world.settle();
    EXPECT_EQ(world.field(), "heard here too");
}

TEST_F(BadDay, ASlowServerCanBeCancelledAndItsAnswerIsDropped) {
    world.useServer();
    world.server.delay = 30s;
    world.tap(fnCtrl);
    world.say("too slow", 1s);
    world.tap(fnCtrl);
    world.pass(5s);
    world.session->cancel();
    EXPECT_EQ(world.state(), RecognitionState::idle);
    world.server.delay = 100ms;
    dictate("next");
    world.pass(60s);
    EXPECT_EQ(world.field(), "next");
}

TEST_F(BadDay, AKeyringThatIsLockedSendsNoKeyAndLosesNothing) {
    world.useServer();
    world.keychain.error = Keychain::Error::locked;
    dictate("without a key");
    EXPECT_EQ(world.field(), "without a key");
    for (const auto& request : world.server.requests) {
        for (const auto& [name, value] : request.headers)
            EXPECT_NE(name, "Authorization");
    }
    EXPECT_TRUE(world.logSink->has("The keyring is locked"));
}

TEST_F(BadDay, AHistoryThatCannotBeWrittenCostsTheRowAndIsSaid) {
    const auto path = world.folder.path() / "sessions.db";
    dictate("one");
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
    sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    dictate("two");
    EXPECT_EQ(world.field(), "onetwo");
    EXPECT_EQ(world.notice(), "Typed, but the history couldn't be saved — quillet doctor says why");
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    dictate("three");
    EXPECT_EQ(world.history().size(), 2U);
}

TEST_F(BadDay, AFullDiskCostsTheRowAndTheSpoolAndNotTheWords) {
    dictate("before");
    // No file may grow any more.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit full{0, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    dictate("during");
    const auto notice = world.notice();
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(world.field(), "beforeduring");
    EXPECT_EQ(notice, "Typed, but the history couldn't be saved — quillet doctor says why");
    dictate("after");
    EXPECT_EQ(world.field(), "beforeduringafter");
    EXPECT_EQ(world.history().size(), 2U);
}

TEST_F(BadDay, AKillAtAnyMomentLosesAtMostASecondOfSpeech) {
    for (int moment = 0; moment < 24; ++moment) {
        World story;
        story.transcriber.decodeTime = 200ms;
        story.tap(fnCtrl);
        const std::string text = "0123456789abcdefghijklmnopqrstuvwxyzABCD";
        const auto pcm = story.words.speak(text, 64'000);
        bool stopped = false;
        const auto diesAt = story.scheduler.now() + moment * 250ms;
        for (std::size_t at = 0; at < pcm.size() && story.scheduler.now() < diesAt; at += 320) {
            story.microphone.hear(std::span(pcm).subspan(at, 320));
            story.pass(20ms);
            stopped = at + 320 >= pcm.size();
        }
        const auto spoken = story.scheduler.now();
        if (stopped) {
            story.tap(fnCtrl);
            if (story.scheduler.now() < diesAt)
                story.pass(diesAt - story.scheduler.now());
        }
        const bool typed = !story.field().empty();
        story.crashAndRestart();
        if (typed) {
            EXPECT_EQ(story.field(), text) << moment;
            continue;
        }
        const auto heard =
            std::chrono::duration<double>(spoken - (diesAt - moment * 250ms)).count();
        if (heard < 1.0)
            continue;
        ASSERT_EQ(story.recovered, 1U) << moment;
        const auto items = story.archive->items();
        ASSERT_EQ(items.size(), 1U);
        EXPECT_GE(items[0].seconds, heard - 1.0) << moment;
    }
}

TEST_F(BadDay, ARecordingIsKeptWhenQuilletQuits) {
    // While it is recorded, at every moment of the stop, and while it is recognised.
    for (int moment = -1; moment < 12; ++moment) {
        World story;
        story.transcriber.decodeTime = 30s;
        story.tap(fnCtrl);
        story.say("unfinished", 1s);
        if (moment >= 0) {
            story.desktop.hold(fnCtrl);
            story.pass(std::chrono::milliseconds(moment));
        }
        bool down = false;
        TaskScope tasks(story.loop);
        auto end = [&]() -> asio::awaitable<void> {
            co_await story.session->shutDown();
            down = true;
        };
        tasks.spawn(end());
        story.pass(1s);
        EXPECT_TRUE(down);
        EXPECT_EQ(story.archive->items().size(), 1U) << moment;
    }
}

TEST_F(BadDay, WhateverFailsTogetherTheWordsCanStillBeHad) {
    struct Fault {
        const char* name;
        void (*happen)(World&);
    };
    const Fault faults[] = {
        {"clipboard refuses", [](World& w) { w.desktop.pasteboard.refuses = true; }},
        {"clipboard's owner hangs", [](World& w) { w.desktop.pasteboard.ownerHangs = true; }},
        {"keys cannot be posted", [](World& w) { w.desktop.keysFail = true; }},
        {"the field hangs", [](World& w) { w.desktop.fieldHangs = true; }},
        {"no window has the focus", [](World& w) { w.desktop.front.clear(); }},
        {"recognition fails",
         [](World& w) { w.transcriber.failure = OnDeviceTranscriber::Failure::unavailable; }},
        {"the loudspeakers are gone", [](World& w) { w.output.absent = true; }},
        {"the microphone is pulled out", [](World& w) { w.microphone.unplug(); }},
        {"a folder stands in the history's place",
         [](World& w) { std::filesystem::create_directories(w.folder.path() / "sessions.db"); }},
    };
    constexpr std::size_t count = std::size(faults);
    for (unsigned mask = 0; mask < (1U << count); ++mask) {
        World story;
        story.set("muteSystemAudioWhileRecording", "true");
        story.tap(fnCtrl);
        story.say("not to be lost", 1s);
        std::string what;
        for (std::size_t i = 0; i < count; ++i) {
            if ((mask >> i & 1U) != 0) {
                faults[i].happen(story);
                what += std::string(faults[i].name) + "; ";
            }
        }
        if (story.state() == RecognitionState::recording)
            story.tap(fnCtrl);
        story.settle();
        EXPECT_EQ(story.state(), RecognitionState::idle) << what;
        EXPECT_EQ(story.session->injectingFlag(), 0) << what;
        EXPECT_TRUE(story.panel.showing.empty()) << what;
        const bool typed =
            story.desktop.applications.at("org.example.editor").field == "not to be lost";
        const bool again = story.session->lastOutput() == "not to be lost";
        const bool kept = story.archive->items().size() == 1;
        EXPECT_TRUE(typed || again || kept) << what;
        if (!typed) {
            EXPECT_FALSE(story.panel.notices.empty()) << what;
        }
    }
}

TEST_F(BadDay, SendingAgainThatFailsLeavesTheRecordingWhereItWas) {
    world.useServer();
    world.transcriber.languages.clear();
    world.server.fail(HttpError::Kind::unreachable);
    dictate("twice unlucky");
    // What was too short to keep in between has nothing to do with it.
    world.tap(fnCtrl);
    world.silence(2s);
    world.tap(fnCtrl);
    world.settle();
    world.server.fail(HttpError::Kind::unreachable);
    world.session->sendAgain(world.archive->items()[0].id);
    world.settle();
    EXPECT_EQ(world.notice(),
              "Speech server failed: Network error — saved in menu → Recent Recordings");
    EXPECT_EQ(world.archive->items().size(), 1U);
    EXPECT_TRUE(world.session->lastSTTError());
    expectOfferedAgain("twice unlucky");
    EXPECT_FALSE(world.session->lastSTTError());
}

TEST_F(BadDay, KeysThatAreToldAfterTheEndAreForNobody) {
    world.tap(fnCtrl);
    world.hotkeys.reset();
    world.desktop.hold(fnCtrl);
    world.desktop.keyDown(Key::space);
    world.desktop.reportConflict({ctrlAlt, Key::space}, "Openbox");
    EXPECT_EQ(world.state(), RecognitionState::recording);
}

TEST_F(BadDay, TheEndMayComeAtAnyMoment) {
    // Everything is torn down in the midst of the work; the sanitizers watch.
    for (int moment = 0; moment < 160; ++moment) {
        World story;
        if (moment % 2 == 0)
            story.useServer();
        story.set("muteSystemAudioWhileRecording", "true");
        story.desktop.pasteboard.copyByUser("before");
        story.tap(fnCtrl);
        story.say("cut short", 500ms);
        story.tap(fnCtrl);
        story.pass(std::chrono::milliseconds(moment * 7));
    }
}

TEST_F(BadDay, ACancelAtAnyMomentLeavesTheNextDictationAlone) {
    enum class Way { device, nothingHeard, model, longSelection };
    for (const auto way : {Way::device, Way::nothingHeard, Way::model, Way::longSelection}) {
        int moments = 0;
        for (bool ended = false; !ended; ++moments) {
            SCOPED_TRACE(std::to_string(static_cast<int>(way)) + " at " + std::to_string(moments));
            World story;
            if (way == Way::model || way == Way::longSelection)
                story.useModel("smart");
            if (way == Way::longSelection)
                story.desktop.frontApp().selection.assign(FocusedTextReader::longestSelection + 1,
                                                          'x');
            if (way == Way::nothingHeard) {
                story.useServer();
                for (int i = 0; i < 2; ++i)
                    story.server.answer(200, R"({"text": ""})");
            }
            story.session->start(way == Way::longSelection ? HotkeyMode::command
                                                           : HotkeyMode::dictate);
            story.say("discarded", 500ms);
            story.session->stop();
            for (int turn = 0; turn < moments; ++turn)
                story.scheduler.step();
            ended = story.state() == RecognitionState::idle;
            story.session->cancel();
            story.desktop.frontApp().selection.clear();
            story.server.replies.clear();
            if (story.state() != RecognitionState::idle)
                story.settle();  // too late: its words were on their way
            story.session->start(HotkeyMode::dictate);
            story.say("the next one", 500ms);
            EXPECT_EQ(story.state(), RecognitionState::recording);
            story.session->stop();
            story.settle();
            EXPECT_TRUE(story.field().ends_with("the next one"));
            EXPECT_FALSE(story.microphone.capturing());
            if (HasFailure())
                return;
        }
        EXPECT_GT(moments, 5);
    }
}

TEST_F(BadDay, MutingEndsOnEveryWayOut) {
    world.set("muteSystemAudioWhileRecording", "true");
    const auto begin = [&] {
        world.tap(fnCtrl);
        world.say("words", 500ms);
        EXPECT_TRUE(world.output.muted);
    };
    begin();
    world.tap(fnCtrl);
    world.settle();
    EXPECT_FALSE(world.output.muted);
    begin();
    world.tap({}, Key::escape);
    world.settle();
    EXPECT_FALSE(world.output.muted);
    begin();
    world.microphone.unplug();
    world.settle();
    EXPECT_FALSE(world.output.muted);
    world.microphone.failure.reset();
    begin();
    world.crashAndRestart();
    world.settle();
    EXPECT_FALSE(world.output.muted);

    // Loudspeakers that are away for a moment come back muted, and are tried again.
    begin();
    world.output.absent = true;
    world.tap({}, Key::escape);
    world.settle();
    EXPECT_TRUE(world.output.muted);
    world.output.absent = false;
    world.crashAndRestart();
    world.settle();
    EXPECT_FALSE(world.output.muted);

    world.microphone.otherApplications = {"Meeting"};
    world.tap(fnCtrl);
    world.say("words", 500ms);
    EXPECT_FALSE(world.output.muted);
    EXPECT_TRUE(world.logSink->has("Meeting is using the microphone — system audio left on"));
}

/// Whatever comes to the front or takes the focus while a text is on its way gets nothing of it.
TEST(TypingInto, IsCheckedUntilTheKeysArePressed) {
    World story;
    auto& editor = story.desktop.frontApp();
    auto& vault = story.desktop.open("com.bitwarden.desktop", "Passwords");
    const std::function<void()> turns[] = {
        [&] { editor.security = FocusedField::Security::secure; },
        [&] { story.desktop.front = "com.bitwarden.desktop"; },
        [&] {
            story.settings->change([](QuilletSettings& record) {
                record.sessionBlacklist.emplace_back("org.example.editor");
            });
        }};
    for (const auto& turn : turns) {
        // What is typed, from the keys on, is too late to be stopped.
        for (auto moment = 0ms; moment < 120ms; moment += 7ms) {
            story.desktop.front = "org.example.editor";
            editor.security = FocusedField::Security::plain;
            editor.field.clear();
            story.settings->change([](QuilletSettings& record) {
                record.sessionBlacklist = {"com.bitwarden.desktop"};
            });
            story.dictate("to be typed again");
            editor.field.clear();
            const int pastes = story.desktop.pastesPosted;
            story.tap(ctrlAlt, Key::v);
            story.pass(moment);
            const bool typed = story.desktop.pastesPosted > pastes;
            turn();
            story.settle();
            EXPECT_EQ(editor.field.empty(), !typed) << moment.count();
            EXPECT_EQ(vault.field, "");
        }
    }
}

/// What was pasted is what an application gets when it wakes, however late.
TEST(TypingInto, WaitsForAnApplicationThatHangs) {
    World story;
    auto& editor = story.desktop.frontApp();
    EXPECT_TRUE(story.profiles->set({"org.example.editor", "Editor", SendKeyType::enter, true, 1}));
    story.desktop.pasteboard.copyByUser("the user's");
    editor.fetchDelay = 20s;
    story.dictate("first");
    story.pass(5s);
    EXPECT_EQ(story.notice(), "The app doesn't take the text — it stays on the clipboard");
    EXPECT_TRUE(story.desktop.returnsPosted.empty()) << "there is nothing to be sent yet";
    story.pass(20s);
    EXPECT_EQ(editor.field, "first");
    EXPECT_EQ(story.desktop.pasteboard.text(), "first");
    editor.fetchDelay = 5ms;
    story.tap(ctrlAlt, Key::v);
    story.settle();
    EXPECT_EQ(editor.field, "firstfirst");
}

}  // namespace
}  // namespace quillet::world
