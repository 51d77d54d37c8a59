#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "speech/TranscriptionRequest.h"
#include "world/World.h"

namespace quillet::world {
namespace {

constexpr Modifiers fnCtrlShift = {Modifier::function, Modifier::control, Modifier::shift};
constexpr Modifiers fnCtrlAlt = {Modifier::function, Modifier::control, Modifier::option};

/// What becomes of the words between the recogniser and the field.
class Writing : public ::testing::Test {
protected:
    /// Says something after the chord for a mode.
    void say(Modifiers chord, const std::string& text) {
        world.tap(chord);
        world.say(text, 1s);
        world.tap(chord);
        world.settle();
    }
    bool learn(std::string original, std::string corrected) {
        return world.await(
            world.vocabulary->learn(std::move(original), std::move(corrected), 1.0, "manual"));
    }
    std::string typed() { return std::exchange(world.desktop.frontApp().field, {}); }
    std::string lastUserMessage() { return world.llm.lastBody()["messages"].back()["content"]; }

    World world;
};

TEST_F(Writing, RawModeSetsBlanksAndWordsButNoPauses) {
    world.set("dictationOutputMode", "raw");
    EXPECT_TRUE(learn("get hub", "GitHub"));
    say(fnCtrl, "把 get hub 上的 issue 关掉 , 然后……看一下 example 点 com");
    EXPECT_EQ(typed(), "把 GitHub 上的 issue 关掉，然后……看一下 example.com");
    EXPECT_TRUE(world.llm.requests.empty());
    EXPECT_EQ(world.history().back().rawText,
              "把 get hub 上的 issue 关掉 , 然后……看一下 example 点 com");
    say(fnCtrl, "TestFlight。");
    EXPECT_EQ(typed(), "TestFlight");
}

TEST_F(Writing, AChangeOfTheVocabularyCountsFromTheNextDictationOn) {
    EXPECT_TRUE(learn("江纳森", "Jonathan"));
    say(fnCtrl, "江纳森到了");
    EXPECT_EQ(typed(), "Jonathan到了");
    EXPECT_TRUE(world.await(world.vocabulary->remove("江纳森", "Jonathan")));
    say(fnCtrl, "江纳森到了");
    EXPECT_EQ(typed(), "江纳森到了");
}

TEST_F(Writing, ASnippetIsTypedAsItIsSaved) {
    world.useModel("smart");
    const std::string saved = "  1 Main St ,\n$1 \\ .* 。。\t";
    world.settings->change(
        [&](QuilletSettings& record) { record.snippets = {{"1", "我的地址", saved}}; });
    for (const auto chord : {fnCtrl, fnCtrlAlt}) {
        say(chord, "插入我的地址。");
        EXPECT_EQ(typed(), saved);
    }
    EXPECT_TRUE(world.llm.requests.empty());
    EXPECT_TRUE(world.logSink->has("Snippet"));
    say(fnCtrl, "把我的地址发给他");
    EXPECT_EQ(typed(), "把我的地址发给他");
}

TEST_F(Writing, SmartAndPolishAskTheModelAndSetItsMarks) {
    world.useModel("smart");
    EXPECT_TRUE(learn("get hub", "GitHub"));
    world.llm.say("把 GitHub 的 issue 关掉, 谢谢你的帮助啊。");
    say(fnCtrl, "嗯 把 get hub 的 issue 关掉 谢谢 你的 帮助 啊");
    EXPECT_EQ(typed(), "把 GitHub 的 issue 关掉，谢谢你的帮助啊。");
    EXPECT_EQ(lastUserMessage(), "嗯 把 GitHub 的 issue 关掉 谢谢 你的 帮助 啊");
    const auto system = world.llm.lastBody()["messages"][0]["content"].get<std::string>();
    EXPECT_NE(system.find("they use often): GitHub\n"), std::string::npos);
    EXPECT_NE(system.find("App: Editor"), std::string::npos);
    EXPECT_EQ(world.llm.prewarmed.size(), 1U) << "while the user still speaks";

    world.set("dictationOutputMode", "polish");
    world.llm.say("- one\n- two");
    say(fnCtrl, "first one and then two and that is all of it");
    EXPECT_EQ(typed(), "- one\n- two");
    const auto polish = world.llm.lastBody()["messages"][0]["content"].get<std::string>();
    EXPECT_NE(polish.find("What they dictated just before:\n- 把 GitHub 的 issue"),
              std::string::npos);
}

TEST_F(Writing, WhateverTheModelDoesTheWordsAreTyped) {
    world.useModel("smart");
    const std::string said = "我们明天上午九点开会讨论预算问题";
    const auto cutOff = R"({"choices":[{"finish_reason":"length","message":{"content":"我们"}}]})";
    struct Day {
        std::function<void()> model;
        std::string notice;
    };
    const std::string offline = "Cleanup offline — sent as heard";
    const std::vector<Day> days = {
        {[&] { world.llm.fail(HttpError::Kind::unreachable); }, offline},
        {[&] { world.llm.fail(HttpError::Kind::timedOut); }, offline},
        {[&] { world.llm.answer(500, "oops"); }, offline},
        {[&] { world.llm.answer(200, "<html>"); }, offline},
        {[&] { world.llm.answer(200, cutOff); }, offline},
        {[&] { world.llm.say("<think>let me see"); }, offline},
        {[&] { world.llm.say("好的。<think>他要开会</think>"); }, ""},
        {[&] { world.llm.say(""); }, ""},
        {[&] { world.llm.say("We meet at nine to talk about the budget."); }, ""},
        {[&] { world.llm.say("我们明天上午九点开会。\n\n还有什么可以帮你？"); }, ""},
        {[&] { world.llm.say(std::string(3'000, 'x')); }, ""},
    };
    for (std::size_t day = 0; day < days.size(); ++day) {
        SCOPED_TRACE(day);
        world.panel.notices.clear();
        days[day].model();
        say(fnCtrl, said);
        EXPECT_EQ(typed(), said);
        EXPECT_EQ(world.notice(), days[day].notice);
        EXPECT_EQ(world.state(), RecognitionState::idle);
    }
    EXPECT_EQ(world.history().size(), days.size());
}

TEST_F(Writing, AModelThatHangsIsWaitedForNoLongerThanACancel) {
    world.useModel("smart");
    world.llm.delay = 1h;
    world.tap(fnCtrl);
    world.say("never mind", 1s);
    world.tap(fnCtrl);
    world.pass(1s);
    EXPECT_EQ(world.state(), RecognitionState::refining);
    world.session->cancel();
    world.settle();
    EXPECT_EQ(world.state(), RecognitionState::idle);
    EXPECT_EQ(typed(), "");
    EXPECT_EQ(world.scheduler.timerCount(), 0U) << "the request is abandoned";
}

TEST_F(Writing, AnotherApplicationInFrontMeanwhileGetsNothing) {
    world.useModel("smart");
    world.llm.delay = 3s;
    world.tap(fnCtrl);
    world.say("for the editor", 1s);
    world.tap(fnCtrl);
    world.pass(1s);
    world.desktop.open("org.example.chat", "Chat");
    world.settle();
    EXPECT_EQ(world.field(), "");
    EXPECT_EQ(world.notice(), "App changed — text copied");
    EXPECT_EQ(world.desktop.pasteboard.text(), "for the editor");
}

TEST_F(Writing, ACommandWritesOrRewritesWhatIsSelected) {
    world.useModel("raw");
    world.llm.say("亲爱的王经理：\n周一见。");
    say(fnCtrlShift, "给王经理写一句周一见");
    EXPECT_EQ(typed(), "亲爱的王经理：\n周一见。");
    EXPECT_EQ(world.panel.banners.back(), "✦ Command — say what to do");
    EXPECT_NE(lastUserMessage().find("No text selected"), std::string::npos);

    world.desktop.frontApp().field = "Hello. see you monday";
    world.desktop.frontApp().selection = "see you monday";
    world.llm.say("See you on Monday.");
    say(fnCtrlShift, "fix the grammar");
    EXPECT_EQ(typed(), "Hello. See you on Monday.");
    EXPECT_EQ(lastUserMessage(),
              "Instruction: fix the grammar\n\nSelected text:\n<<<\nsee you monday\n>>>");
}

TEST_F(Writing, ACommandThatFailsLeavesTheSelectionAlone) {
    world.useModel("smart");
    world.llm.answer(503, "");
    say(fnCtrlShift, "write to my boss");
    EXPECT_EQ(typed(), "write to my boss");
    EXPECT_EQ(world.notice(), "Cleanup offline — sent as heard");

    world.desktop.frontApp().field = "three long pages";
    world.desktop.frontApp().selection = "three long pages";
    world.llm.answer(503, "");
    say(fnCtrlShift, "make it shorter");
    EXPECT_EQ(typed(), "three long pages");
    EXPECT_EQ(world.notice(),
              "Cleanup offline — the selection stays, Ctrl+Option+V pastes what you said");
    world.desktop.frontApp().selection.clear();
    world.tap(ctrlAlt, Key::v);
    world.settle();
    EXPECT_EQ(typed(), "make it shorter");
}

TEST_F(Writing, NothingThatIsSelectedIsEverTypedOver) {
    world.useModel("smart");
    auto& app = world.desktop.frontApp();
    const auto select = [&app](const std::string& text) { app.field = app.selection = text; };

    // The application does not tell what is selected, and the model fails.
    select("three long pages");
    world.desktop.fieldHangs = true;
    world.llm.answer(503, "");
    say(fnCtrlShift, "make it shorter");
    EXPECT_EQ(app.field, "three long pages");
    world.desktop.fieldHangs = false;

    // More is selected than a model can rewrite.
    select(std::string(FocusedTextReader::longestSelection + 1, 'x'));
    const auto asked = world.llm.requests.size();
    say(fnCtrlShift, "make it shorter");
    EXPECT_EQ(app.field.size(), FocusedTextReader::longestSelection + 1);
    EXPECT_EQ(world.llm.requests.size(), asked);
    EXPECT_EQ(world.notice(),
              "The selection is too long for a command — Ctrl+Option+V pastes what you said");
    EXPECT_EQ(world.session->lastOutput(), "make it shorter");

    // The user selects something else while the model thinks.
    select("see you monday");
    world.llm.delay = 3s;
    world.llm.say("See you on Monday.");
    world.tap(fnCtrlShift);
    world.say("fix the grammar", 1s);
    world.tap(fnCtrlShift);
    world.pass(2s);
    select("my only copy");
    world.settle();
    EXPECT_EQ(app.field, "my only copy");
    EXPECT_EQ(world.notice(), "The selection changed — text copied");
    EXPECT_EQ(world.desktop.pasteboard.text(), "See you on Monday.");

    // The mode changes at the last moment, before the application has told.
    select("see you monday");
    world.desktop.answerDelay = 80ms;
    world.llm.say("See you on Monday.");
    world.tap(fnCtrl);
    world.say("fix the grammar", 1s);
    world.session->changeIntent(HotkeyMode::command);
    world.session->stop();
    world.settle();
    EXPECT_EQ(app.field, "See you on Monday.");
}

TEST_F(Writing, OnlyWhatTheModelHasSeenIsToldItAgain) {
    world.useModel("raw");
    world.settings->change(
        [](QuilletSettings& record) { record.snippets = {{"1", "我的卡号", "6222 0200 0000"}}; });
    say(fnCtrl, "said in private");
    world.set("dictationOutputMode", "smart");
    say(fnCtrl, "插入我的卡号");
    say(fnCtrl, "the first for the model");
    world.desktop.open("org.example.chat", "Chat");
    say(fnCtrl, "said in the chat");
    world.desktop.front = "org.example.editor";
    say(fnCtrl, "the second for the model");
    const auto system = world.llm.lastBody()["messages"][0]["content"].get<std::string>();
    const auto at = system.find("What they dictated just before:");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(system.substr(at), "What they dictated just before:\n- the first for the model");
}

TEST_F(Writing, TranslationWritesTheOtherLanguage) {
    world.useModel("smart");
    world.set("translationTarget", "Japanese");
    world.llm.say("明日会いましょう");
    say(fnCtrlAlt, "明天见");
    EXPECT_EQ(typed(), "明日会いましょう");
    EXPECT_EQ(world.panel.banners.back(), "Translate → Japanese");
    world.llm.fail(HttpError::Kind::unreachable);
    say(fnCtrlAlt, "明天见");
    EXPECT_EQ(typed(), "明天见");
    EXPECT_EQ(world.notice(), "Cleanup offline — sent as heard");
}

TEST_F(Writing, ARunningDictationCanBecomeACommand) {
    world.useModel("smart");
    world.desktop.frontApp().field = world.desktop.frontApp().selection = "ok";
    world.tap(fnCtrl);
    world.say("say it in French", 1s);
    world.session->changeIntent(HotkeyMode::command);
    world.session->changeIntent(HotkeyMode::translate);
    world.session->changeIntent(HotkeyMode::command);
    world.pass(100ms);
    world.llm.say("d'accord");
    world.tap(fnCtrl);
    world.settle();
    EXPECT_EQ(typed(), "d'accord");
    EXPECT_TRUE(world.logSink->has("Intent → command"));
}

TEST_F(Writing, SomethingNobodySaidIsNotTyped) {
    world.useServer();
    for (const auto* heard : {"谢谢大家收看", "ご視聴ありがとうございました",
                              "请不吝点赞 订阅 转发 打赏支持明镜与点点栏目", "。", " ... "}) {
        world.server.answer(200, nlohmann::json{{"text", heard}}.dump());
        say(fnCtrl, "hm");
        EXPECT_EQ(typed(), "");
        EXPECT_EQ(world.notice(), "Didn't catch that");
    }
}

// --- The race with Cloudflare --------------------------------------------------------------------

class Race : public Writing {
protected:
    Race() {
        world.useServer();
        world.set("sttBackup", "true");
        world.set("cloudflareAccount", account);
        world.keychain.secrets["cloudflareToken"] = "a token";
        world.server.respond = [this](const HttpRequest& request) { return reply(request); };
    }

    static bool isBackup(const HttpRequest& request) { return isCloudflareWhisper(request.url); }
    ScriptedServer::Scripted reply(const HttpRequest& request) {
        if (isBackup(request))
            return {backupDelay, backupStatus, R"({"result":{"text":"by the backup"}})"};
        return {ownDelay, ownStatus, R"({"text":"by my server"})"};
    }
    std::size_t sentToBackup() const {
        return static_cast<std::size_t>(std::ranges::count_if(world.server.requests, isBackup));
    }

    const std::string account = "0123456789abcdef0123456789abcdef";
    std::chrono::milliseconds ownDelay{500};
    std::chrono::milliseconds backupDelay{500};
    long ownStatus = 200;
    long backupStatus = 200;
};

TEST_F(Race, AQuickServerSpendsNoQuota) {
    say(fnCtrl, "one second");
    EXPECT_EQ(typed(), "by my server");
    EXPECT_EQ(sentToBackup(), 0U);
    EXPECT_EQ(world.notice(), "");
}

TEST_F(Race, ASlowServerIsOvertakenAndAbandoned) {
    ownDelay = 15s;
    say(fnCtrl, "one second");
    EXPECT_EQ(typed(), "by the backup");
    EXPECT_EQ(world.notice(), "Own server slow — recognized by the Cloudflare backup");
    EXPECT_EQ(sentToBackup(), 1U);
    const auto& headers = world.server.requests.back().headers;
    EXPECT_NE(std::ranges::find(
                  headers, std::pair<std::string, std::string>("Authorization", "Bearer a token")),
              headers.end());
    EXPECT_EQ(world.server.underWay, 0);
}

TEST_F(Race, AServerThatFailsIsReplacedAtOnce) {
    const std::vector<std::pair<long, std::string>> failures = {
        {401, "Check the API key"}, {500, "Server unreachable"}, {429, "Server busy"}};
    for (const auto& [status, reason] : failures) {
        ownStatus = status;
        world.tap(fnCtrl);
        world.say("one second", 1s);
        world.tap(fnCtrl);
        world.pass(1'200ms);  // either of them needs half a second
        EXPECT_EQ(typed(), "by the backup");
        EXPECT_EQ(world.notice(), reason + " — recognized by the Cloudflare backup");
        world.settle();
    }
}

TEST_F(Race, WhenBothFailTheDeviceIsTheLastResort) {
    ownStatus = 401;
    backupStatus = 429;
    say(fnCtrl, "heard here");
    EXPECT_EQ(typed(), "heard here");
    EXPECT_EQ(world.notice(), "Check the API key — recognized on this Mac");
    EXPECT_EQ(sentToBackup(), 1U) << "a used up quota is not asked again";

    backupStatus = 500;
    say(fnCtrl, "heard here");
    EXPECT_EQ(sentToBackup(), 3U) << "twice at most";
}

TEST_F(Race, IsNotRunWithoutAllThatItNeeds) {
    ownDelay = 5s;
    const auto expectAlone = [this](const std::string& what) {
        world.server.requests.clear();
        say(fnCtrl, "one second");
        EXPECT_EQ(typed(), "by my server") << what;
        EXPECT_EQ(sentToBackup(), 0U) << what;
    };
    world.set("sttBackup", "false");
    expectAlone("switched off");
    world.set("sttBackup", "true");
    world.set("cloudflareAccount", "");
    expectAlone("no account");
    world.set("cloudflareAccount", account);
    world.keychain.secrets.clear();
    expectAlone("no token");
    world.keychain.secrets["cloudflareToken"] = "a token";
    world.server.requests.clear();
    world.set("sttEndpoint", cloudflareWhisperUrl(account));
    say(fnCtrl, "one second");
    EXPECT_EQ(sentToBackup(), 1U) << "Cloudflare is no backup of itself";
}

TEST_F(Race, AnAddressWithoutItsAccountIsNeverSent) {
    world.set("sttEndpoint", cloudflareWhisperUrl("ACCOUNT_ID"));
    world.set("cloudflareAccount", "");
    world.transcriber.languages.clear();
    say(fnCtrl, "nowhere");
    EXPECT_TRUE(world.server.requests.empty());
    EXPECT_TRUE(world.server.prewarmed.empty());
    EXPECT_EQ(
        world.notice(),
        "Speech server failed: Speech service not set up — saved in menu → Recent Recordings");
    world.set("cloudflareAccount", account);
    say(fnCtrl, "somewhere");
    EXPECT_EQ(typed(), "by the backup");
    EXPECT_EQ(world.server.requests.back().url, cloudflareWhisperUrl(account));
}

}  // namespace
}  // namespace quillet::world
