#include "refine/RewriteGuards.h"

#include <gtest/gtest.h>

#include "refine/PromptTexts.h"

namespace quillet {
namespace {

using DictationPrompt::CleanupStyle;
using enum CleanupStyle;

std::string times(std::string_view text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

TEST(RewriteGuards, SmartRewritesHaveOneLineOrAreNumberedLists) {
    const std::pair<const char*, bool> cases[] = {
        {"one line", true},       {"1. a\n2. b", true},        {"要点：\n1. a\n2. b", true},
        {"a\nb", false},          {"x\ny\n1. a\n2. b", false}, {"x\n1. a\n3. b", false},
        {"x\n1. a", false},       {"1. a\n2. b\nend", false},  {"1. a\n\n2. b", false},
        {"x\n2. a\n3. b", false}, {"1.a\n2.b", false}};
    for (const auto& [reply, accepted] : cases) {
        const auto reason = rejectionReason("roughly as long as this", reply, smart);
        EXPECT_EQ(reason,
                  accepted ? std::nullopt
                           : std::optional<std::string>("contains newline outside a numbered list"))
            << reply;
        EXPECT_FALSE(rejectionReason("roughly as long as this", reply, polish)) << reply;
    }
    EXPECT_FALSE(rejectionReason(times("x", 60),
                                 "1. a1\n2. b2\n3. c\n4. d\n5. e\n6. f\n7. g\n"
                                 "8. h\n9. i\n10. j",
                                 smart));
}

TEST(RewriteGuards, HoldTheLengthToItsLimits) {
    struct Case {
        CleanupStyle style;
        int raw;
        int reply;
        const char* reason;
    };
    const Case cases[] = {
        {smart, 1000, 2000, ""},
        {smart, 1000, 2001, "refined too long (2001)"},
        {polish, 1000, 4000, ""},
        {polish, 1000, 4001, "refined too long (4001)"},
        {smart, 100, 25, "refined < 0.3x raw"},
        {smart, 100, 30, ""},
        {smart, 40, 11, "refined < 0.3x raw"},
        {smart, 40, 12, ""},
        {smart, 39, 1, ""},
        {polish, 100, 1, ""},
        {smart, 10, 36, ""},
        {smart, 10, 37, "refined > 3x raw"},
        {polish, 10, 260, ""},
        {polish, 10, 261, "refined > 6x raw"},
    };
    for (const auto& one : cases) {
        const auto reason =
            rejectionReason(times("字", one.raw), times("字", one.reply), one.style);
        EXPECT_EQ(reason.value_or(""), one.reason) << one.raw << " -> " << one.reply;
    }
    // What is no word does not count towards what must be kept.
    EXPECT_FALSE(rejectionReason(times("字，", 39), "字", smart));
    EXPECT_FALSE(rejectionReason(times("👍🏽", 10), times("👍🏽", 36), smart));
}

TEST(RewriteGuards, KeepTheScript) {
    EXPECT_EQ(rejectionReason("send it by Friday please", "请在周五之前发过来", smart),
              "ASCII input → CJK output");
    EXPECT_FALSE(rejectionReason("send it by Friday please", "请在周五之前发过来", polish));
    EXPECT_FALSE(rejectionReason("把这一份 report 发给她吧", "把这一份报告发给她吧", smart));
    for (const auto style : {smart, polish})
        EXPECT_EQ(rejectionReason("请在周五之前", "By Friday please", style),
                  "Chinese input → no Chinese output");
    EXPECT_FALSE(rejectionReason("请周五之前", "By Friday", smart));
}

TEST(RewriteGuards, NoticeThinkingUnlessItWasSaid) {
    for (const auto* reply : {"a <think>b</think>", "text</THINK>", "<thinking>", "x<|channel|>y",
                              "<|channel|>analysis<|message|>x"})
        EXPECT_TRUE(holdsThinking(reply, "say something")) << reply;
    EXPECT_FALSE(holdsThinking("I think <so>", "i think so"));
    EXPECT_FALSE(holdsThinking("Wrap it in <think>.", "wrap it in <Think>"));
    EXPECT_TRUE(holdsThinking("Wrap it in <think></think>.", "wrap it in <think>"));
}

TEST(RewriteGuards, LetEveryExampleOfThePromptPass) {
    for (const auto& [raw, cleaned] : PromptTexts::fewShotPairs) {
        EXPECT_EQ(rejectionReason(raw, cleaned, smart).value_or(""), "") << raw;
        EXPECT_FALSE(answersInstead(raw, cleaned)) << raw;
    }
}

TEST(RewriteGuards, LetEditedQuestionsPass) {
    const std::pair<const char*, const char*> edited[] = {
        {"嗯那个你明天来吗", "你明天来吗？"},
        {"你觉得这个方案怎么样？", "你觉得这个方案怎么样"},
        {"um what's the the capital of france?", "What's the capital of France?"},
        {"can you uh send me the report?", "Can you send me the report"},
        {"这个 bug 是什么时候，嗯，一点二点五的时候引入的吗？", "这个 bug 是 1.2.5 引入的吗？"},
        {"我就是想说这个可以了，好吗？", "我想说这个可以了。"},
        {"他在忙着写代码呢", "他在忙着写代码。"},
        {"你看到配森的那个杰森文件了么", "你看到 Python 的那个 JSON 文件了么？"},
        {"我們什麼時候去台北開會？", "我们什么时候去台北开会？"},
        {"第一，预算够吗，第二，人够吗？", "1. 预算够吗？\n2. 人够吗？"},
        {"配森杰森", "Python JSON"},
        {"电话一三八零零一三八零零零", "电话 13800138000"},
        {"一共三千五百六十七块八毛二分钱", "一共 3567.82 元。"},
        {"three thousand five hundred sixty seven", "3567"},
        {"什么时候有空我都可以那个过来", "什么时候有空，我都可以过来。"},
        {"how to exit vim uh we should write that down", "How to exit vim, we should write down."},
        {"is is this the the right file", "Is this the right file?"},
    };
    for (const auto& [raw, reply] : edited)
        EXPECT_FALSE(answersInstead(raw, reply)) << raw << " -> " << reply;
}

TEST(RewriteGuards, RefuseAnswers) {
    const std::pair<const char*, const char*> answers[] = {
        {"法国的首都是哪里？", "法国的首都是巴黎。"},
        {"今天星期几呢", "今天是星期三。"},
        {"你能帮我写一个请假条吗", "当然可以，请告诉我请假的日期和原因。"},
        {"这个 bug 怎么修？", "你可以先检查空指针，再加一个判断。"},
        {"嗯，一公里是多少米？", "一公里等于 1000 米。"},
        {"你是谁？", "我是一个语音助手。"},
        {"明天会下雨吗", "抱歉，我无法查询天气。"},
        {"帮我看一下这句话对不对？", "这句话没有语法错误。"},
        {"我应该用 React 还是 Vue 呢", "建议用 React，生态更成熟。"},
        {"怎么在 Linux 里面查看端口？", "使用 ss -tlnp 命令。"},
        {"这件事情你觉得可以么？", "我觉得没有问题，就这样办吧。"},
        {"what is the capital of France?", "The capital of France is Paris."},
        {"um what time is it?", "I don't have access to a clock."},
        {"how do I exit vim?", "Press Escape, type :q! and hit Enter."},
        {"can you write a poem about the sea?", "Sure! Waves roll softly on the golden shore."},
        {"what's two plus two?", "Two plus two equals four."},
        {"should we ship it on Friday?", "Yes, Friday works."},
        {"who wrote Hamlet?", "William Shakespeare wrote Hamlet."},
        {"这个 deploy 什么时候 schedule 呢？", "Deploy 安排在周五晚上。"},
        {"你知道 WebSocket 是什么吗？", "WebSocket 是一种全双工通信协议。"},
        {"Anna 的 meeting 改到几点了？", "Anna 的会议改到了下午三点半。"},
        // Recognisers leave the mark out.
        {"法国的首都是哪里", "巴黎。"},
        {"um so what is the capital of france", "The capital of France is Paris."},
        {"how many days are in a leap year", "A leap year has 366 days."},
        // Nothing of what was said is left.
        {"帮我把昨天的会议纪要整理一下发给大家", "好的！请提供内容。"},
        {"write something nice to my colleague Bob", "抱歉，我做不到。"},
        {"我在考虑下周去上海出差的事情", "……"},
    };
    for (const auto& [raw, reply] : answers)
        EXPECT_TRUE(answersInstead(raw, reply)) << raw << " -> " << reply;
}

}  // namespace
}  // namespace quillet
