#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "world/World.h"

namespace quillet::world {
namespace {

constexpr Modifiers amendChord = {Modifier::function, Modifier::control, Modifier::shift,
                                  Modifier::option};

/// What is done with a field that can be read: amending, learning, context.
class Fields : public ::testing::Test {
protected:
    ScriptedApplication& editor() { return world.desktop.applications.at("org.example.editor"); }
    /// Says how to change the last dictation; the model answers with `change`.
    void amend(const std::string& change) {
        world.llm.say(change);
        world.tap(amendChord);
        world.say("make it shorter", 1s);
        world.tap(fnCtrl);
        world.pass(2s);
    }
    /// The user changes a part of the field by hand.
    void edit(std::string_view from, std::string_view to) {
        auto& field = editor().field;
        const auto at = field.find(from);
        ASSERT_NE(at, std::string::npos);
        field.replace(at, from.size(), to);
        world.desktop.type();
        world.pass(200ms);
    }
    std::vector<VocabEntry> learned() {
        world.settle();
        return *world.await(world.vocabulary->allEntries());
    }
    std::string systemPrompt() { return world.llm.lastBody()["messages"][0]["content"]; }

    World world;
};

// --- Amend ---------------------------------------------------------------------------------------

class Amending : public Fields {
protected:
    Amending() { world.useModel("raw"); }
};

TEST_F(Amending, TheLastDictationIsReplacedWhereItStands) {
    editor().field = "Dear Ada, ";
    editor().afterCaret = " Yours";
    world.dictate("we will come on Monday 👩‍👩‍👧 שלום");
    amend("Monday it is");
    EXPECT_EQ(editor().field + editor().afterCaret, "Dear Ada, Monday it is Yours");
    EXPECT_EQ(world.panel.banners.back(), "✎ Change the last dictation — say how");
    EXPECT_NE(world.llm.lastBody().dump().find("we will come on Monday"), std::string::npos);
    const auto entries = world.history();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[1].replaces, entries[0].id);
    EXPECT_EQ(entries[1].finalText, "Monday it is");
    // What was changed can be changed again.
    amend("Monday");
    EXPECT_EQ(editor().field, "Dear Ada, Monday");
    EXPECT_EQ(world.history()[2].replaces, entries[1].id);
}

TEST_F(Amending, IsRefusedWhereNothingWasDictated) {
    const std::string refusal =
        "Nothing dictated here to change — select text and use Fn+Ctrl+Shift";
    const auto refused = [&] {
        world.panel.notices.clear();
        world.tap(amendChord);
        const bool was = world.notice() == refusal && world.state() == RecognitionState::idle;
        world.tap({}, Key::escape);
        return was;
    };
    EXPECT_TRUE(refused());
    world.dictate("words");
    world.desktop.open("org.example.other", "Other");
    EXPECT_TRUE(refused());
    world.desktop.front = "org.example.editor";
    EXPECT_FALSE(refused());
    // One second short of the window, and at its end.
    world.dictate("more words");
    world.pass(RecordingSession::amendWindow - 3s);
    EXPECT_FALSE(refused());
    world.pass(2s);
    EXPECT_TRUE(refused());
    // Modifiers that come one after the other are refused as those that come together.
    world.desktop.hold(fnCtrl);
    world.pass(20ms);
    world.desktop.hold(amendChord);
    EXPECT_EQ(world.notice(), refusal);
    EXPECT_EQ(world.state(), RecognitionState::idle);
}

TEST_F(Amending, WhatCannotBeReplacedIsCopied) {
    struct Case {
        const char* outcome;
        std::function<void(ScriptedApplication&)> change;
    };
    const Case cases[] = {
        {"atCaret", [](auto& app) { app.field += "!"; }},
        {"atCaret", [](auto& app) { app.field = "or"; }},
        {"atCaret", [](auto& app) { app.selection = "dictated"; }},
        {"notThere", [](auto& app) { app.selectsNothing = true; }},
        {"unreadable", [](auto& app) { app.security = FocusedField::Security::unknown; }},
    };
    for (const auto& [outcome, change] : cases) {
        editor() = {.front = editor().front};
        world.dictate("was dictated");
        change(editor());
        const auto before = editor().field;
        amend("the change");
        EXPECT_EQ(editor().field, before) << outcome;
        EXPECT_EQ(world.desktop.pasteboard.text(), "the change") << outcome;
        EXPECT_EQ(world.notice(), "Couldn't find the last dictation — the change is copied");
        EXPECT_TRUE(world.logSink->has(fmt::format("amend failed: {}", outcome)));
    }
}

TEST_F(Amending, AnInstructionIsNeverTypedOverTheText) {
    world.dictate("was dictated");
    world.llm.fail(HttpError::Kind::timedOut);
    world.llm.fail(HttpError::Kind::timedOut);
    world.tap(amendChord);
    world.say("make it shorter", 1s);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(world.field(), "was dictated");
    EXPECT_EQ(world.notice(),
              "Cleanup offline — the text stays, Ctrl+Option+V pastes what you said");
    EXPECT_EQ(world.session->lastOutput(), "make it shorter");
    EXPECT_FALSE(world.history().back().replaces);
}

// --- Learning ------------------------------------------------------------------------------------

class Learning : public Fields {};

TEST_F(Learning, ACorrectedWordIsRightTheNextTime) {
    editor().field = "Hello. ";
    editor().afterCaret = " The end.";
    world.dictate("deploy it with cooper netties 今天");
    edit("cooper netties", "Kubernetes");
    EXPECT_TRUE(world.session->lastPaste()->touched);
    world.dictate("cooper netties");
    EXPECT_TRUE(world.logSink->has("User started editing pasted text"));
    EXPECT_TRUE(world.logSink->has("User edited before send: <private> -> <private>"));
    const auto entries = learned();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].original, "cooper netties");
    EXPECT_EQ(entries[0].corrected, "Kubernetes");
    EXPECT_EQ(entries[0].source, "edit");
    world.dictate("cooper netties");
    EXPECT_TRUE(editor().field.ends_with("Kubernetes"));
}

TEST_F(Learning, WhatWasSentIsLearnedFromAsItStoodBefore) {
    editor().isChat = true;
    world.dictate("the wrld is big");
    edit("wrld", "world");
    world.desktop.pressReturn();
    world.settle();
    EXPECT_EQ(learned().size(), 1U);
    EXPECT_EQ(editor().messages, std::vector<std::string>{"the world is big"});
    // Sent in the middle of a word: what the user meant is not known.
    world.dictate("a grat day");
    editor().field = "a gre day";
    world.desktop.type();
    world.desktop.pressReturn();
    world.settle();
    EXPECT_EQ(learned().size(), 1U);
    EXPECT_FALSE(world.desktop.reportsTyping);
}

TEST_F(Learning, TheNextMessageIsNoEditOfTheLast) {
    editor().isChat = true;
    for (const bool byMouse : {true, false}) {
        world.dictate("where is Jonathan");
        if (!byMouse)
            world.desktop.keyDown(Key::returnKey);
        world.pass(300ms);
        editor().field.clear();  // it was sent, which took a while
        for (const auto* typed : {"t", "there is Jon", "there is Jonathon"}) {
            editor().field = typed;
            world.desktop.type();
            world.pass(200ms);
        }
        EXPECT_TRUE(learned().empty()) << byMouse;
        editor().field.clear();
    }
}

TEST_F(Learning, NothingIsLearnedWhereItMustNot) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"no edit", [] {}},
        {"another field", [this] { editor().fieldName = "other"; }},
        {"a password field", [this] { editor().security = FocusedField::Security::secure; }},
        {"nothing told", [this] { editor().security = FocusedField::Security::unknown; }},
        {"excluded",
         [this] {
             world.settings->change(
                 [](QuilletSettings& record) { record.sessionBlacklist = {"org.example.editor"}; });
         }},
        {"another application", [this] { world.desktop.open("org.example.other", "Other"); }},
    };
    for (const auto& [why, change] : cases) {
        editor() = {.front = editor().front};
        world.desktop.front = "org.example.editor";
        world.settings->change([](QuilletSettings& record) { record.sessionBlacklist = {}; });
        world.dictate("the wrld is big");
        change();
        if (why != std::string("no edit"))
            edit("wrld", "world");
        world.pass(601s);
        EXPECT_TRUE(learned().empty()) << why;
    }
    EXPECT_TRUE(world.logSink->has("No edit seen — nothing to learn"));
    EXPECT_FALSE(world.desktop.reportsTyping) << "keys are only watched for ten minutes";
}

TEST_F(Learning, OddEditsAreLeftAlone) {
    const std::pair<std::string, std::string> cases[] = {
        {"the wrld\nis big", "Suspicious edit shape"},
        {"the wrld " + std::string(41, 'x'), "Suspicious edit shape"},
        {"a text that has nothing at all to do with what was said before it",
         "much longer than pasted"},
        {"the big", "much shorter than pasted"},
    };
    for (const auto& [edited, reason] : cases) {
        editor() = {.front = editor().front};
        world.logSink->forget();
        world.dictate("the wrld is big");
        edit("the wrld is big", edited);
        world.pass(601s);
        EXPECT_TRUE(world.logSink->has(reason)) << edited;
    }
    EXPECT_TRUE(learned().empty());
}

// --- Context -------------------------------------------------------------------------------------

TEST_F(Fields, ContextIsReadOnlyWhereItIsAskedFor) {
    world.useModel("smart");
    editor().field = std::string(600, 'x') + "before the cursor ";
    editor().window = "Chat with Ada Lovelace about the parser";
    editor().front.windowTitle = "Letters";
    world.dictate("hello there");
    EXPECT_EQ(systemPrompt().find("before the cursor "), std::string::npos);
    EXPECT_EQ(systemPrompt().find("Lovelace"), std::string::npos);
    world.set("useFocusedContext", "true");
    world.set("useScreenTerms", "true");
    world.dictate("hello there");
    EXPECT_NE(systemPrompt().find("xxbefore the cursor hello there"), std::string::npos);
    EXPECT_EQ(systemPrompt().find(std::string(500, 'x')), std::string::npos);
    EXPECT_NE(systemPrompt().find("On screen:\n<<<\nChat with Ada"), std::string::npos);
    EXPECT_NE(systemPrompt().find("they use often): Ada Lovelace"), std::string::npos);
    EXPECT_NE(systemPrompt().find("Letters"), std::string::npos);
}

TEST_F(Fields, ThePanelIsToldWhereTheTextGoes) {
    editor().caret = DesktopRect{10, 20, 1, 16};
    world.dictate("one");
    EXPECT_EQ(world.panel.avoided, (std::vector{*editor().caret}));
    editor().security = FocusedField::Security::secure;
    world.dictate("two");
    EXPECT_EQ(world.panel.avoided.size(), 1U) << "nothing is dictated there";
}

TEST_F(Fields, AnApplicationThatHangsCostsAMomentAndNoDictation) {
    world.useModel("smart");
    world.set("useFocusedContext", "true");
    world.desktop.fieldHangs = true;
    world.dictate("all the same");
    world.settle();
    EXPECT_EQ(world.field(), "all the same");
}

}  // namespace
}  // namespace quillet::world
