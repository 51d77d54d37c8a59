#include "refine/DictationPrompt.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

namespace quillet::DictationPrompt {
namespace {

using nlohmann::json;

struct Golden {
    json input;
    json body;

    explicit Golden(const std::string& name) {
        std::ifstream file(QUILLET_TEST_FOLDER "/refine/golden/" + name + ".json");
        const auto both = json::parse(file);
        input = both.at("input");
        body = both.at("body");
    }
    [[nodiscard]] std::string text(const char* name) const {
        return input.value(name, std::string());
    }
    [[nodiscard]] std::vector<std::string> texts(const char* name) const {
        return input.value(name, std::vector<std::string>());
    }
};

TEST(DictationPrompt, IsWrittenToTheByte) {
    for (const auto* name : {"smart", "polish"}) {
        const Golden golden(name);
        Cleanup cleanup;
        cleanup.model = golden.text("model");
        cleanup.style =
            std::string_view(name) == "polish" ? CleanupStyle::polish : CleanupStyle::smart;
        cleanup.text = golden.text("text");
        cleanup.vocabulary = golden.texts("vocabulary");
        cleanup.profile = golden.text("profile");
        cleanup.situation = {golden.text("app"), golden.text("window"), golden.text("screen"),
                             golden.texts("recent")};
        cleanup.beforeCursor = golden.text("beforeCursor");
        EXPECT_EQ(cleanupRequest(cleanup), golden.body) << name;
    }
    for (const auto* name : {"command", "command-on-selection"}) {
        const Golden golden(name);
        Command command;
        command.model = golden.text("model");
        command.instruction = golden.text("instruction");
        if (golden.input.contains("selection"))
            command.selection = golden.text("selection");
        command.beforeCursor = golden.text("beforeCursor");
        EXPECT_EQ(commandRequest(command), golden.body) << name;
    }
    const Golden golden("translate");
    EXPECT_EQ(translateRequest(
                  {golden.text("model"), golden.text("text"), golden.text("targetLanguage")}),
              golden.body);
    const Golden plain("plain");
    EXPECT_EQ(plainRequest(plain.text("model"), plain.text("text"), plain.input["maxTokens"]),
              plain.body);
}

TEST(DictationPrompt, SaysNothingOfWhatIsNotKnown) {
    Cleanup bare;
    bare.text = "hello there";
    auto blanks = bare;
    blanks.beforeCursor = " \n\t　\n";
    EXPECT_EQ(cleanupRequest(blanks), cleanupRequest(bare));
    const auto instructions = cleanupRequest(bare)["messages"][0]["content"].get<std::string>();
    EXPECT_TRUE(instructions.starts_with("You are the editor inside"));
    EXPECT_TRUE(instructions.ends_with("Output only the final text."));
    EXPECT_TRUE(situationText({}).empty());
    EXPECT_EQ(situationText({"", "a window", "", {"one"}}),
              "What they dictated just before:\n- one");
}

TEST(DictationPrompt, CountsWhatUsersCallCharacters) {
    const std::string family = "👨‍👩‍👧";
    std::string title;
    for (int i = 0; i < 130; ++i)
        title += family;
    const auto line = situationText({"App", title, "", {}});
    EXPECT_EQ(line.size(), std::string("App: App — window: ").size() + 120 * family.size());
    Cleanup cleanup;
    for (int i = 0; i < 200; ++i)
        cleanup.text += family;
    EXPECT_EQ(cleanupRequest(cleanup)["max_tokens"], 600);
    cleanup.style = CleanupStyle::polish;
    EXPECT_EQ(cleanupRequest(cleanup)["max_tokens"], 1500);
}

TEST(ModelQuirks, GiveEveryModelWhatItTakes) {
    const auto sent = [](const char* model, const json& extra = json::object()) {
        json body = {{"model", model}, {"temperature", 0.2}};
        body.update(extra);
        auto quirky = applyModelQuirks(body);
        quirky.erase("model");
        return quirky;
    };
    const json warm = {{"temperature", 0.2}};
    const auto with = [&warm](const json& more) {
        auto body = warm;
        body.update(more);
        return body;
    };
    const json low = with({{"reasoning_effort", "low"}, {"max_tokens", 1500}});
    EXPECT_EQ(sent("openai/gpt-oss-120b", {{"max_tokens", 500}}), low);
    EXPECT_EQ(sent("GPT-OSS-20b"), low);
    EXPECT_EQ(sent("gpt-oss", {{"max_tokens", "many"}}), low);
    EXPECT_EQ(sent("gpt-oss", {{"max_tokens", 9.5}}), low);
    EXPECT_EQ(sent("gpt-oss", {{"max_tokens", INT64_MAX}})["max_tokens"], INT64_MAX);
    EXPECT_EQ(sent("GLM-4.7"), with({{"chat_template_kwargs", {{"enable_thinking", false}}}}));
    EXPECT_EQ(sent("deepseek-v4-flash"), with({{"thinking", {{"type", "disabled"}}}}));
    EXPECT_EQ(sent("deepseek-chat"), warm);
    EXPECT_EQ(sent("claude-haiku-5-5"), json({{"thinking", {{"type", "disabled"}}}}));
    EXPECT_EQ(sent("claude-sonnet-5-5"), json({{"thinking", {{"type", "between_tools"}}}}));
    EXPECT_EQ(sent("claude-opus"), json::object());
    EXPECT_EQ(sent("gemini-3.6-flash"), json({{"reasoning_effort", "minimal"}}));
    EXPECT_EQ(sent("gpt-4.1-mini"), warm);
    // The first rule that fits is the only one.
    EXPECT_EQ(sent("gpt-oss-claude-glm", {{"max_tokens", 500}}), low);
    for (const json& odd : {json(), json::array(), json{{"model", 7}}, json{{"messages", 1}}})
        EXPECT_EQ(applyModelQuirks(odd), odd);
}

}  // namespace
}  // namespace quillet::DictationPrompt
