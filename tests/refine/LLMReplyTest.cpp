#include "refine/LLMReply.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "world/ScriptedLLM.h"

namespace quillet::world {
namespace {

std::optional<std::string> replyOf(const std::string& content) {
    return parseReply(ScriptedLLM::responseWith(content));
}

TEST(LLMReply, IsFreedOfWhatModelsWrapAroundIt) {
    const std::pair<const char*, const char*> cases[] = {
        {"  plain text \n", "plain text"},
        {"one  \ntwo\t \n three", "one\ntwo\n three"},
        {"", ""},
        // Thinking.
        {"<think>hm\nhm</think>\n\nthe text", "the text"},
        {" \n<think></think>x</think>", "x</think>"},
        {"not first <think>a</think>", "not first <think>a</think>"},
        // A list number that was begun and never written.
        {"1. a\n2. b\n3.", "1. a\n2. b"},
        {"1. a\n2. b\n3. \n", "1. a\n2. b"},
        {"lead\n1.", "lead\n1."},
        {"1. a\n\n2.", "1. a\n\n2."},
        {"1. a\n2.\n3.", "1. a\n2.\n3."},
        {"3.", "3."},
        // Fences.
        {"```markdown\none line\n```", "one line"},
        {"```\none line\n```", "one line"},
        {"```two words\none line\n```", "two words\none line"},
        {"```c++\r\nint i;\r\n```", "int i;"},
        {"```a-tag-of-21-letters-x\nx\n```", "a-tag-of-21-letters-x\nx"},
        {"```a-tag-of-20-letters-\nx\n```", "x"},
        {"```code```", "code"},
        {"``````", "``````"},
        {"```x```", "x"},
        {"``` ```", ""},
        {"```x\nopen", "```x\nopen"},
        {"<think>a</think>```\n1. a\n2.\n```", "1. a\n2."},
    };
    for (const auto& [content, text] : cases)
        EXPECT_EQ(replyOf(content), text) << content;
}

TEST(LLMReply, IsNoneWhereThereIsNoTextToUse) {
    EXPECT_FALSE(replyOf("<think>never ends"));
    EXPECT_FALSE(replyOf("<think>a</think> <think>b</think> text"));
    const char* const bodies[] = {
        "",
        "<html>oops</html>",
        "null",
        "[]",
        "\"text\"",
        "{}",
        R"({"choices": []})",
        R"({"choices": {}})",
        R"({"choices": [null]})",
        R"({"choices": [{"text": "old"}]})",
        R"({"choices": [{"message": "x"}]})",
        R"({"choices": [{"message": {}}]})",
        R"({"choices": [{"message": {"content": null}}]})",
        R"({"choices": [{"message": {"content": [{"type": "text", "text": "x"}]}}]})",
        R"({"choices": [{"message": {"content": "cut"}, "finish_reason": "length"}]})",
        R"({"choices": [{"message": {"content": "half)",
        "{\"choices\": [{\"message\": {\"content\": \"\\ud800\"}}]}",
        "{\"choices\": [{\"message\": {\"content\": \"\xff\"}}]}",
    };
    for (const auto* body : bodies)
        EXPECT_FALSE(parseReply(body)) << body;
    EXPECT_EQ(parseReply(R"({"choices": [{"message": {"content": "whole"}}]})"), "whole");
    EXPECT_EQ(parseReply(R"({"choices": [{"message": {"content": "x"}, "finish_reason": 7}]})"),
              "x");
}

TEST(LLMReply, WithstandsWhatNoServerShouldSend) {
    const std::string brackets(1'000'000, '[');
    EXPECT_FALSE(parseReply(brackets));
    EXPECT_FALSE(parseReply(brackets + std::string(1'000'000, ']')));
    std::string objects;
    for (int i = 0; i < 200'000; ++i)
        objects += "{\"a\":";
    EXPECT_FALSE(parseReply(objects));
    const auto nested = [](int levels) {
        return R"({"choices": [{"message": {"content": "x"}}], "extra": )" +
               std::string(static_cast<std::size_t>(levels), '[') +
               std::string(static_cast<std::size_t>(levels), ']') + "}";
    };
    EXPECT_EQ(parseReply(nested(63)), "x");
    EXPECT_FALSE(parseReply(nested(64)));
    EXPECT_EQ(replyOf(std::string("a\0b", 3)), std::string("a\0b", 3));
    const std::string large(2'000'000, 'x');
    EXPECT_EQ(replyOf("<think>" + large + "</think>" + large), large);
    EXPECT_EQ(replyOf("```" + std::string(2'000'000, '\n') + "```"), "");
}

}  // namespace
}  // namespace quillet::world
