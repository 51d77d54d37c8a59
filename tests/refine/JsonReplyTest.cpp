#include "refine/JsonReply.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace quillet {
namespace {

using nlohmann::json;

TEST(JsonReply, IsFreedOfWhatModelsWrapAroundIt) {
    const json expected = {{"a", 1}};
    for (const auto* reply : {
             R"({"a": 1})",
             " \n{\"a\":1}\n",
             "```json\n{\"a\": 1}\n```",
             "```{\"a\": 1}```",
             "<think>{\"a\": 2}\n</think>{\"a\": 1}",
             "<think>one</think>```\n{\"a\": <think>two</think> 1}\n```",
             "Here is what I found in {the} entries:\n{\"a\": 1}\nAnything else?",
             "</think>{\"a\": 1}<think>",
             "{\"a\": 1} {\"cut",
         })
        EXPECT_EQ(jsonOfReply(reply), expected) << reply;
    EXPECT_EQ(textOf(*jsonOfReply(R"(x {"a": "}\"{\\"} y)"), "a"), "}\"{\\");
}

TEST(JsonReply, IsNoneWhereThereIsNotOneObject) {
    for (const auto* reply : {
             "",
             "no",
             "[]",
             "{",
             "}",
             "{\"a\": 1",
             "{a: 1}",
             "{\"a\": \"\xff\"}",
             "<think>{\"a\": 1}",
             // What was cut off holds whole objects.
             R"({"terms": [{"heard": "x"}, {"heard": "y"}], "fix)",
             // One of the two is quoted.
             R"(The entry says {"terms": []}, so: {"terms": [1]})",
         })
        EXPECT_FALSE(jsonOfReply(reply)) << reply;
}

TEST(JsonReply, WithstandsWhatNoModelShouldSend) {
    const auto nested = [](std::size_t levels) {
        return "{\"a\":" + std::string(levels, '[') + std::string(levels, ']') + "}";
    };
    EXPECT_TRUE(jsonOfReply(nested(63)));
    EXPECT_FALSE(jsonOfReply(nested(64)));
    EXPECT_FALSE(jsonOfReply(nested(1'000'000)));
    EXPECT_FALSE(jsonOfReply(std::string(1'000'000, '{')));
    std::string wordy;
    for (int i = 0; i < 20'000; ++i)
        wordy += "{x}<think>";
    EXPECT_EQ(jsonOfReply(wordy + "{\"a\":1}"), json({{"a", 1}}));
}

TEST(JsonReply, GivesTextsAndListsOfTheirTypeOnly) {
    const json object = {{"text", "x"}, {"number", 1}, {"list", {"x", 1, nullptr, "y"}}};
    EXPECT_EQ(textOf(object, "text"), "x");
    EXPECT_EQ(textOf(object, "number"), "");
    EXPECT_EQ(textOf(object, "missing"), "");
    EXPECT_EQ(textOf(json::array({"text"}), "text"), "");
    EXPECT_EQ(textsOf(object, "list"), (std::vector<std::string>{"x", "y"}));
    EXPECT_TRUE(textsOf(object, "text").empty());
    EXPECT_EQ(listOf(object, "text"), nullptr);
}

}  // namespace
}  // namespace quillet
