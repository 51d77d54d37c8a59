#include <gtest/gtest.h>

#include "world/World.h"

namespace quillet::world {
namespace {

constexpr Modifiers superKey = {Modifier::command};

/// Messages that are sent by themselves.
class Sending : public ::testing::Test {
protected:
    Sending() {
        world.set("autoSendDelay", "3");
        open("org.telegram.desktop").isChat = true;
    }
    ScriptedApplication& open(const std::string& id) { return world.desktop.open(id, id); }
    ScriptedApplication& chat() { return world.desktop.applications.at("org.telegram.desktop"); }
    [[nodiscard]] std::size_t posted() const { return world.desktop.returnsPosted.size(); }

    World world;
};

TEST_F(Sending, FollowsAShownCountdown) {
    world.dictate("see you there");
    EXPECT_EQ(world.panel.countdown, 3s);
    EXPECT_TRUE(world.session->sendPending());
    EXPECT_TRUE(world.desktop.swallows({{}, Key::escape}));
    EXPECT_TRUE(world.desktop.swallows({superKey, Key::period}));
    EXPECT_EQ(posted(), 0U);
    world.settle();
    EXPECT_EQ(chat().messages, std::vector<std::string>{"see you there"});
    EXPECT_FALSE(world.panel.countdown);
    EXPECT_FALSE(world.desktop.swallows({{}, Key::escape}));
    EXPECT_TRUE(world.logSink->has("schedule: delay=3.0"));
}

TEST_F(Sending, UsesTheKeyAndTheDelayOfTheProfile) {
    const auto sends = [this](const std::string& id, SendKeyType key, bool autoSend,
                              std::optional<double> delay) {
        EXPECT_TRUE(world.profiles->set({id, id, key, autoSend, delay}));
        open(id);
        const auto before = posted();
        world.dictate("words");
        world.pass(300ms);
        const bool soon = posted() > before;
        world.settle();
        return std::pair(posted() - before, soon);
    };
    EXPECT_EQ(sends("a", SendKeyType::cmdEnter, true, 0.1), std::pair(1UL, true));
    EXPECT_EQ(world.desktop.returnsPosted.back().style, ReturnStyle::withCommand);
    EXPECT_EQ(sends("b", SendKeyType::enter, true, std::nullopt), std::pair(1UL, false));
    EXPECT_EQ(world.desktop.returnsPosted.back().style, ReturnStyle::alone);
    world.set("autoSend", "true");
    EXPECT_EQ(sends("c", SendKeyType::enter, false, std::nullopt), std::pair(0UL, false));
    EXPECT_TRUE(world.logSink->has("Auto-send skipped (app=c)"));
    open("org.example.unprofiled");
    world.dictate("by the global setting");
    world.settle();
    EXPECT_EQ(posted(), 3U);
}

TEST_F(Sending, OnlyWhatWasTypedIsSent) {
    world.desktop.keysFail = true;
    world.dictate("copied only");
    world.desktop.keysFail = false;
    world.settle();
    world.tap(ctrlAlt, Key::v);
    world.settle();
    EXPECT_EQ(posted(), 0U);
    // A part of what is written was rewritten: the message is not finished by that.
    world.useModel("smart");
    world.llm.say("rewritten");
    chat().selection = chat().field;
    world.tap(fnCtrl | Modifiers{Modifier::shift});
    world.say("shorter", 1s);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(chat().field, "rewritten");
    EXPECT_EQ(posted(), 0U);
}

TEST_F(Sending, WhatWasNotMeantIsNotSent) {
    world.useModel("smart");
    world.llm.answer(500, "");
    world.tap(fnCtrl | Modifiers{Modifier::shift});
    world.say("tell Bob that I cannot come", 1s);
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(chat().field, "tell Bob that I cannot come");
    world.set("dictationOutputMode", "raw");
    world.tap(fnCtrl);
    world.say("the first half of", 1s);
    world.microphone.unplug();
    world.settle();
    world.microphone.failure.reset();
    EXPECT_TRUE(chat().field.ends_with("the first half of"));
    EXPECT_EQ(posted(), 0U);
    // A chord that is refused is a sign of the user all the same.
    world.dictate("a message");
    open("com.bitwarden.desktop");
    world.tap(fnCtrl);
    world.desktop.front = "org.telegram.desktop";
    world.settle();
    EXPECT_EQ(posted(), 0U);
}

TEST_F(Sending, AnotherWindowOfTheSameApplicationGetsNoReturn) {
    chat().security = FocusedField::Security::unknown;
    world.dictate("to this window");
    chat().front.windowID = 2;
    world.settle();
    EXPECT_EQ(posted(), 0U);
    EXPECT_EQ(world.notice(), "Not sent — another field has the focus");
}

TEST_F(Sending, AnotherFieldOrAPasswordFieldGetsNoReturn) {
    world.dictate("to the first");
    chat().fieldName = "another";
    world.settle();
    world.dictate("to the second");
    chat().security = FocusedField::Security::secure;
    world.settle();
    EXPECT_EQ(posted(), 0U);
    chat().security = FocusedField::Security::plain;
    world.dictate("to one that does not tell any more");
    world.desktop.fieldHangs = true;
    world.settle();
    EXPECT_EQ(posted(), 0U) << "a button may have the focus";
    EXPECT_EQ(world.notice(), "Not sent — another field has the focus");
    world.dictate("to one that never tells");
    world.settle();
    EXPECT_EQ(posted(), 1U);
}

TEST_F(Sending, TheUserIsToldWhyNothingWasSent) {
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[this] { world.tap({}, Key::escape); }, "Not sent"},
        {[this] { world.tap(superKey, Key::period); }, "Not sent"},
        {[this] { world.session->cancel(); }, "Not sent"},
        {[this] { world.desktop.type(); }, "Not sent, as you go on typing"},
        {[this] { world.desktop.pressReturn(); }, ""}};
    for (const auto& [act, notice] : cases) {
        world.panel.notices.clear();
        world.dictate("words");
        act();
        EXPECT_EQ(world.notice(), notice);
        EXPECT_FALSE(world.panel.countdown);
        world.settle();
        EXPECT_EQ(posted(), 0U);
    }
}

/// Every pair of things that can happen, at every pair of moments around the countdown.
TEST_F(Sending, AtMostOneReturnLeavesAndNoneAfterACancel) {
    world.set("autoSendDelay", "1");
    world.desktop.answerDelay = 20ms;
    open("org.example.other");
    struct Act {
        const char* name;
        std::function<void()> happen;
    };
    const Act acts[] = {
        {"Esc", [this] { world.tap({}, Key::escape); }},
        {"Command+Period", [this] { world.tap(superKey, Key::period); }},
        {"Return", [this] { world.desktop.pressReturn(); }},
        {"typing", [this] { world.desktop.type(); }},
        {"another application", [this] { world.desktop.front = "org.example.other"; }},
        {"back again", [this] { world.desktop.front = "org.telegram.desktop"; }},
        {"another dictation", [this] { world.tap(fnCtrl); }},
        {"an agent's text", [this] { (void)world.await(world.session->typeText("from your AI")); }},
    };
    const std::chrono::milliseconds moments[] = {0ms, 1ms, 500ms, 999ms, 1'000ms, 1'010ms, 1'100ms};
    int sent = 0;
    for (const auto& first : acts) {
        for (const auto& second : acts) {
            for (const auto at : moments) {
                for (const auto later : moments) {
                    const auto what = fmt::format("{} at {} ms, {} {} ms later", first.name,
                                                  at.count(), second.name, later.count());
                    world.desktop.front = "org.telegram.desktop";
                    chat() = {.front = chat().front, .isChat = true};
                    world.desktop.returnsPosted.clear();
                    const int pastes = world.desktop.pastesPosted;
                    world.tap(fnCtrl);
                    world.say("message", 500ms);
                    world.tap(fnCtrl);
                    while (world.desktop.pastesPosted == pastes)
                        world.scheduler.step();
                    std::size_t mostNow = 1;
                    const auto happens = [&](const Act& act) {
                        const bool pending = world.session->sendPending();
                        act.happen();
                        // What was cancelled, or sent by hand, is never sent again.
                        if (pending && !world.session->sendPending())
                            mostNow = posted();
                    };
                    world.pass(at);
                    happens(first);
                    world.pass(later);
                    happens(second);
                    world.settle();
                    ASSERT_LE(posted(), mostNow) << what;
                    for (const auto& one : world.desktop.returnsPosted)
                        ASSERT_EQ(one.bundleID, "org.telegram.desktop") << what;
                    ASSERT_LE(std::ranges::count(chat().messages, "message"), 1) << what;
                    sent += static_cast<int>(posted());
                    world.tap({}, Key::escape);
                    world.settle();
                }
            }
        }
    }
    EXPECT_GT(sent, 500) << "otherwise nothing was put to the test";
}

}  // namespace
}  // namespace quillet::world
