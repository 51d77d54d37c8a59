#include <gtest/gtest.h>

#include "world/World.h"

namespace quillet::world {
namespace {

class Dictation : public ::testing::Test {
protected:
    World world;
};

TEST_F(Dictation, TypesWhatWasSaidAndWritesItDown) {
    world.desktop.pasteboard.copyByUser("an old copy");
    world.tap(fnCtrl);
    EXPECT_EQ(world.state(), RecognitionState::recording);
    EXPECT_EQ(world.panel.showing, "recording");
    world.say("hello there", 2s);
    world.tap(fnCtrl);
    world.settle();

    EXPECT_EQ(world.field(), "hello there");
    EXPECT_EQ(world.state(), RecognitionState::idle);
    EXPECT_EQ(world.desktop.pasteboard.text(), "an old copy");
    EXPECT_GT(world.panel.loudest, 0.05F);
    EXPECT_TRUE(world.panel.showing.empty());
    const auto history = world.history();
    ASSERT_EQ(history.size(), 1U);
    EXPECT_EQ(history[0].rawText, "hello there");
    EXPECT_EQ(history[0].appBundleID, "org.example.editor");
    EXPECT_EQ(history[0].appName, "Editor");
    EXPECT_TRUE(world.archive->items().empty());
    EXPECT_FALSE(world.logSink->has("hello there"));
}

TEST_F(Dictation, TheSecondChordAndTheFirstWordAndTheLast) {
    world.microphone.heldBack = 1'600;  // the sound server is 100 ms behind
    world.desktop.hold(ctrlAlt);
    world.desktop.keyDown(Key::space);
    world.say("first to last", 1s);
    world.desktop.keyUp(Key::space);
    world.desktop.hold({});
    world.tap(ctrlAlt, Key::space);
    world.settle();
    EXPECT_EQ(world.field(), "first to last");
}

TEST_F(Dictation, EscapeCancelsWhileRecordingAndIsOtherwiseLeftToTheApplication) {
    const KeyChord escape{{}, Key::escape};
    EXPECT_FALSE(world.desktop.swallows(escape));
    world.tap(fnCtrl);
    EXPECT_TRUE(world.desktop.swallows(escape));
    world.say("never mind", 1s);
    world.tap({}, Key::escape);
    EXPECT_FALSE(world.desktop.swallows(escape));
    world.settle();
    EXPECT_EQ(world.state(), RecognitionState::idle);
    EXPECT_EQ(world.field(), "");
    EXPECT_TRUE(world.history().empty());
    EXPECT_TRUE(std::filesystem::is_empty(world.folder.path() / "Recordings"));
}

TEST_F(Dictation, TooShortAndSilentRecordingsAreNotSent) {
    world.useServer();
    world.tap(fnCtrl);
    world.say("oh", 100ms);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.notice(), "Didn't catch that");
    EXPECT_TRUE(world.logSink->has("Recording too short (3200 bytes)"));

    world.panel.notices.clear();
    world.tap(fnCtrl);
    world.silence(3s);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.notice(), "Didn't catch that");
    EXPECT_TRUE(world.logSink->has("No speech in the recording — not sent"));
    EXPECT_TRUE(world.server.requests.empty());
}

TEST_F(Dictation, IsRefusedInExcludedApplicationsAndPasswordFields) {
    world.desktop.open("com.bitwarden.desktop", "Bitwarden");
    world.tap(fnCtrl);
    EXPECT_EQ(world.notice(), "The app in front is on Quillet's excluded list");
    EXPECT_EQ(world.state(), RecognitionState::idle);
    EXPECT_FALSE(world.microphone.capturing());

    world.desktop.open("org.example.login", "Login").security = FocusedField::Security::secure;
    world.tap(fnCtrl);
    EXPECT_EQ(world.notice(), "A password field is active");
    EXPECT_EQ(world.state(), RecognitionState::idle);
    EXPECT_FALSE(world.microphone.capturing());
}

TEST_F(Dictation, APasswordFieldThatTakesTheFocusMeanwhileGetsNothing) {
    world.tap(fnCtrl);
    world.say("my words", 1s);
    world.desktop.frontApp().security = FocusedField::Security::secure;
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.field(), "");
    EXPECT_EQ(world.desktop.pasteboard.text(), "my words");
    EXPECT_EQ(world.notice(), "Copied — Ctrl+Option+V pastes it");
}

TEST_F(Dictation, AnApplicationThatHangsCostsAMomentAndNotTheDictation) {
    world.desktop.fieldHangs = true;
    world.dictate("still here");
    EXPECT_EQ(world.field(), "still here");
}

TEST_F(Dictation, AnotherApplicationInFrontGetsNothing) {
    world.tap(fnCtrl);
    world.say("for the editor", 1s);
    world.transcriber.decodeTime = 500ms;
    world.tap(fnCtrl);
    world.desktop.open("org.example.chat", "Chat");
    world.settle();
    EXPECT_EQ(world.field(), "");
    EXPECT_EQ(world.desktop.applications.at("org.example.editor").field, "");
    EXPECT_EQ(world.notice(), "App changed — text copied");
    EXPECT_EQ(world.desktop.pasteboard.text(), "for the editor");
    EXPECT_FALSE(world.desktop.pasteboard.transient);
    EXPECT_EQ(world.history().size(), 1U);
}

TEST_F(Dictation, TheApplicationInFrontIsGoneAtPasteTime) {
    world.tap(fnCtrl);
    world.say("where to", 1s);
    world.desktop.front.clear();
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.desktop.pasteboard.text(), "where to");
    EXPECT_EQ(world.notice(), "App changed — text copied");
}

TEST_F(Dictation, ACopyThatTheUserMakesIsLeftAlone) {
    world.desktop.pasteboard.copyByUser("before");
    world.tap(fnCtrl);
    world.say("words", 1s);
    world.tap(fnCtrl);
    world.pass(300ms);
    EXPECT_EQ(world.field(), "words");
    world.desktop.pasteboard.copyByUser("mine");
    world.settle();
    EXPECT_EQ(world.desktop.pasteboard.text(), "mine");
}

TEST_F(Dictation, ASlowApplicationPastesTheWordsAndNotTheOldCopy) {
    world.desktop.pasteboard.copyByUser("before");
    world.desktop.frontApp().fetchDelay = 2s;
    world.dictate("slowly does it");
    world.settle();
    EXPECT_EQ(world.field(), "slowly does it");
    EXPECT_EQ(world.desktop.pasteboard.text(), "before");
}

TEST_F(Dictation, TwoInARowGiveBackWhatWasThereBeforeTheFirst) {
    world.desktop.pasteboard.copyByUser("before");
    world.transcriber.decodeTime = 1ms;
    world.tap(fnCtrl);
    world.say("one", 500ms);
    world.tap(fnCtrl);
    world.pass(100ms);
    world.desktop.frontApp().fetchDelay = 2s;
    world.tap(fnCtrl);
    world.say("two", 500ms);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.field(), "onetwo");
    EXPECT_EQ(world.desktop.pasteboard.text(), "before");
}

TEST_F(Dictation, WaitsForTheModifiersButNotForEver) {
    world.tap(fnCtrl);
    world.say("patience", 1s);
    world.desktop.hold(fnCtrl);
    world.pass(800ms);
    EXPECT_EQ(world.field(), "");
    world.desktop.hold({});
    world.pass(200ms);
    EXPECT_EQ(world.field(), "patience");

    world.tap(fnCtrl);
    world.say("again", 1s);
    world.desktop.hold(fnCtrl);
    world.pass(1500ms);
    EXPECT_EQ(world.field(), "patienceagain");
    world.desktop.hold({});
}

TEST_F(Dictation, AnInputMethodIsSetAsideForThePaste) {
    world.desktop.inputSource.source = "pinyin";
    world.dictate("ascii keys");
    world.settle();
    EXPECT_EQ(world.field(), "ascii keys");
    const std::vector<std::string> expected = {std::string(abcInputSource), "pinyin"};
    EXPECT_EQ(world.desktop.inputSource.selected, expected);
}

TEST_F(Dictation, WhatCannotBePastedIsCopiedAndSaidToBe) {
    world.desktop.keysFail = true;
    world.dictate("no keys here");
    EXPECT_EQ(world.desktop.pasteboard.text(), "no keys here");
    EXPECT_EQ(world.notice(), "Copied — Ctrl+Option+V pastes it");
    world.settle();
    EXPECT_EQ(world.desktop.pasteboard.text(), "no keys here");
}

TEST_F(Dictation, TheLastResultCanBePastedAgain) {
    world.tap(ctrlAlt, Key::v);
    EXPECT_EQ(world.notice(), "Nothing to paste yet");
    world.desktop.pasteboard.refuses = true;
    world.dictate("stubborn");
    EXPECT_EQ(world.field(), "");
    world.desktop.pasteboard.refuses = false;
    world.tap(ctrlAlt, Key::v);
    world.settle();
    EXPECT_EQ(world.field(), "stubborn");
}

TEST_F(Dictation, AHungClipboardOwnerCostsHalfASecondAndNotTheDictation) {
    world.desktop.pasteboard.ownerHangs = true;
    world.dictate("through");
    world.settle();
    EXPECT_EQ(world.field(), "through");
    EXPECT_EQ(world.desktop.pasteboard.restores, 0);
}

TEST_F(Dictation, AnotherCopyBetweenOurWriteAndOurPasteIsNotPasted) {
    world.transcriber.decodeTime = 0ms;
    world.tap(fnCtrl);
    world.say("mine", 1s);
    world.desktop.hold(fnCtrl);
    world.desktop.hold({});
    while (!world.desktop.pasteboard.ours)
        world.pass(1ms);
    world.desktop.pasteboard.copyByUser("theirs");
    world.settle();
    EXPECT_EQ(world.field(), "mine");
    EXPECT_EQ(world.desktop.pasteboard.text(), "theirs");
}

TEST_F(Dictation, SomebodyWhoKeepsCopyingIsNotTypedAndNotRobbed) {
    world.transcriber.decodeTime = 0ms;
    world.tap(fnCtrl);
    world.say("mine", 1s);
    world.desktop.hold(fnCtrl);
    world.desktop.hold({});
    for (int copies = 0; copies < 2; ++copies) {
        while (!world.desktop.pasteboard.ours)
            world.pass(1ms);
        world.desktop.pasteboard.copyByUser("theirs");
    }
    world.settle();
    EXPECT_EQ(world.field(), "");
    EXPECT_EQ(world.desktop.pasteboard.text(), "mine");
    EXPECT_EQ(world.notice(), "Copied — Ctrl+Option+V pastes it");
}

TEST_F(Dictation, AClipboardManagersFetchIsNotTheApplications) {
    world.desktop.pasteboard.copyByUser("before");
    world.desktop.pasteboard.managerFetches = true;
    world.desktop.frontApp().fetchDelay = 2s;
    world.dictate("slow and watched");
    world.settle();
    EXPECT_EQ(world.field(), "slow and watched");
    EXPECT_EQ(world.desktop.pasteboard.text(), "before");
}

TEST_F(Dictation, PastingTheLastResultWhileTheNextIsWrittenTakesItsTurn) {
    world.desktop.pasteboard.copyByUser("before");
    world.dictate("one");
    world.tap(fnCtrl);
    world.say("two", 1s);
    world.tap(fnCtrl);
    world.tap(ctrlAlt, Key::v);
    world.settle();
    EXPECT_EQ(world.field(), "onetwotwo");
    EXPECT_EQ(world.desktop.pasteboard.text(), "before");
}

TEST_F(Dictation, APressWhileRefiningIsRefused) {
    world.transcriber.decodeTime = 3s;
    world.tap(fnCtrl);
    world.say("slow one", 1s);
    world.tap(fnCtrl);
    world.tap(fnCtrl);
    EXPECT_EQ(world.notice(), "Still working on the last dictation");
    world.settle();
    EXPECT_EQ(world.field(), "slow one");
}

TEST_F(Dictation, AModifierThatComesLateChangesTheIntent) {
    world.desktop.hold(fnCtrl);
    world.pass(50ms);
    world.desktop.hold(fnCtrl | Modifiers{Modifier::shift});
    world.desktop.hold({});
    EXPECT_EQ(world.state(), RecognitionState::recording);
}

TEST_F(Dictation, ShowsTheWordsWhileTheyAreSpokenWhenAsked) {
    world.set("showsTextWhileSpeaking", "true");
    world.tap(fnCtrl);
    world.say("hello", 1s);
    EXPECT_EQ(world.panel.partialText, "hello");
    world.tap({}, Key::escape);
}

TEST_F(Dictation, AHeldChordIsReleasedAfterTwoMinutes) {
    world.desktop.hold(fnCtrl);
    world.pass(121s);
    EXPECT_TRUE(world.logSink->has("Safety timer fired after"));
    EXPECT_EQ(world.state(), RecognitionState::recording);
    world.desktop.hold({});
    world.desktop.hold(fnCtrl);
    EXPECT_EQ(world.state(), RecognitionState::refining);
}

TEST_F(Dictation, KeysThatWereMissedAreCaughtUpWith) {
    world.desktop.hold(fnCtrl);
    world.say("half", 1s);
    world.desktop.held = {};
    world.desktop.interrupt();
    EXPECT_TRUE(world.logSink->has("Fn+Ctrl released while tap was disabled — resynced"));
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.field(), "half");
}

TEST_F(Dictation, AChordThatBelongsToSomebodyElseIsNamed) {
    world.desktop.reportConflict({ctrlAlt, Key::space}, "Openbox");
    EXPECT_NE(world.notice().find("Ctrl+Alt+Space belongs to Openbox"), std::string::npos);
}

TEST_F(Dictation, AnHourOfAudioArrivesWhole) {
    world.tap(fnCtrl);
    world.say("a very long speech", std::chrono::hours(1));
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.field(), "a very long speech");
}

}  // namespace
}  // namespace quillet::world
