#include "refine/DictationPrompt.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"
#include "refine/PromptTexts.h"

namespace quillet::DictationPrompt {

namespace {

using nlohmann::json;

// Lengths are in characters.
constexpr std::size_t mostOfWindowTitle = 120;
constexpr std::size_t mostOfScreen = 800;
constexpr std::size_t mostBeforeCursor = 500;

constexpr std::size_t tokensPerCharacter = 3;
constexpr std::size_t fewestTokensSmart = 500;
constexpr std::size_t fewestTokensPolish = 1'500;
constexpr int tokensForWriting = 1'500;

constexpr double temperatureSmart = 0.2;
constexpr double temperaturePolish = 0.4;
constexpr double temperatureCommand = 0.3;
constexpr double temperatureTranslation = 0.2;
constexpr double temperaturePlain = 0.2;

constexpr std::string_view quoteEnd = "\n>>>";

std::string smartPrompt() {
    return fmt::format("{}{}{}", PromptTexts::smart, PromptTexts::backgroundVoices,
                       PromptTexts::never);
}

std::string polishPrompt() {
    return fmt::format("{}{}{}", PromptTexts::polish, PromptTexts::backgroundVoices,
                       PromptTexts::onlyPolished);
}

json message(std::string_view role, std::string_view content) {
    return {{"role", role}, {"content", content}};
}

/// The section about the text before the cursor; empty when there is none.
std::string beforeCursorSection(std::string_view heading, std::string_view beforeCursor) {
    const auto nearest = trimmed(lastCharacters(beforeCursor, mostBeforeCursor));
    return nearest.empty() ? std::string() : fmt::format("{}{}{}", heading, nearest, quoteEnd);
}

std::string cleanupInstructions(const Cleanup& cleanup) {
    std::string text = cleanup.style == CleanupStyle::polish ? polishPrompt() : smartPrompt();
    if (!cleanup.vocabulary.empty())
        text += fmt::format("{}{}{}", PromptTexts::vocabulary, fmt::join(cleanup.vocabulary, ", "),
                            PromptTexts::vocabularyUse);
    if (!cleanup.profile.empty())
        text += fmt::format("{}{}", PromptTexts::profile, cleanup.profile);
    if (!cleanup.situation.empty())
        text += fmt::format("{}{}", PromptTexts::situation, situationText(cleanup.situation));
    return text + beforeCursorSection(PromptTexts::beforeCursor, cleanup.beforeCursor);
}

void setReasoningShort(json& body) {
    constexpr std::int64_t tokensForReasoning = 1'000;
    constexpr std::int64_t assumedTokens = 500;
    constexpr auto most = std::numeric_limits<std::int64_t>::max() - tokensForReasoning;
    body["reasoning_effort"] = "low";
    const auto tokens = body.find("max_tokens");
    const auto asked = tokens != body.end() && tokens->is_number_integer()
                           ? tokens->get<std::int64_t>()
                           : assumedTokens;
    body["max_tokens"] = std::min(asked, most) + tokensForReasoning;
}

}  // namespace

bool Situation::empty() const {
    return app.empty() && window.empty() && screen.empty() && recent.empty();
}

std::string situationText(const Situation& situation) {
    std::vector<std::string> lines;
    if (!situation.app.empty()) {
        auto line = "App: " + situation.app;
        if (!situation.window.empty())
            line +=
                fmt::format(" — window: {}", firstCharacters(situation.window, mostOfWindowTitle));
        lines.push_back(std::move(line));
    }
    if (!situation.screen.empty())
        lines.push_back(fmt::format("On screen:\n<<<\n{}{}",
                                    lastCharacters(situation.screen, mostOfScreen), quoteEnd));
    if (!situation.recent.empty())
        lines.emplace_back("What they dictated just before:");
    for (const auto& text : situation.recent)
        lines.push_back("- " + text);
    return fmt::format("{}", fmt::join(lines, "\n"));
}

json cleanupRequest(const Cleanup& cleanup) {
    const bool polish = cleanup.style == CleanupStyle::polish;
    json messages = json::array({message("system", cleanupInstructions(cleanup))});
    if (!polish) {
        for (const auto& [raw, cleaned] : PromptTexts::fewShotPairs) {
            messages.push_back(message("user", raw));
            messages.push_back(message("assistant", cleaned));
        }
    }
    messages.push_back(message("user", cleanup.text));
    const auto fewestTokens = polish ? fewestTokensPolish : fewestTokensSmart;
    return {
        {"model", cleanup.model},
        {"messages", std::move(messages)},
        {"temperature", polish ? temperaturePolish : temperatureSmart},
        {"max_tokens", std::max(tokensPerCharacter * characterCount(cleanup.text), fewestTokens)}};
}

json commandRequest(const Command& command) {
    const auto instructions =
        std::string(PromptTexts::command) +
        beforeCursorSection(PromptTexts::beforeCursorOfCommand, command.beforeCursor);
    auto task = "Instruction: " + command.instruction;
    if (command.selection)
        task += fmt::format("\n\nSelected text:\n<<<\n{}{}", *command.selection, quoteEnd);
    else
        task += "\n\n(No text selected — write the text the instruction asks for.)";
    return {{"model", command.model},
            {"messages", json::array({message("system", instructions), message("user", task)})},
            {"temperature", temperatureCommand},
            {"max_tokens", tokensForWriting}};
}

json translateRequest(const Translation& translation) {
    const auto instructions = fmt::format(
        "{}{}{}{}{}{}{}", PromptTexts::translateInto, translation.targetLanguage,
        PromptTexts::translateRules, PromptTexts::backgroundVoices, PromptTexts::translateThenWrite,
        translation.targetLanguage, PromptTexts::translateEnd);
    return {{"model", translation.model},
            {"messages",
             json::array({message("system", instructions), message("user", translation.text)})},
            {"temperature", temperatureTranslation},
            {"max_tokens", tokensForWriting}};
}

json plainRequest(std::string_view model, std::string_view text, int maxTokens) {
    return {{"model", model},
            {"messages", json::array({message("user", text)})},
            {"temperature", temperaturePlain},
            {"max_tokens", maxTokens}};
}

json applyModelQuirks(json body) {
    const auto named = body.find("model");
    if (named == body.end() || !named->is_string())
        return body;
    const auto model = asciiLowered(named->get_ref<const std::string&>());
    if (model.contains("gpt-oss")) {
        setReasoningShort(body);
    } else if (model.contains("glm")) {
        body["chat_template_kwargs"] = {{"enable_thinking", false}};
    } else if (model.contains("deepseek-v4")) {
        body["thinking"] = {{"type", "disabled"}};
    } else if (model.contains("claude")) {
        // Sonnet thinks between its tools only, and has none here.
        if (model.contains("haiku"))
            body["thinking"] = {{"type", "disabled"}};
        else if (model.contains("sonnet"))
            body["thinking"] = {{"type", "between_tools"}};
        body.erase("temperature");
    } else if (model.contains("gemini")) {
        body["reasoning_effort"] = "minimal";
        body.erase("temperature");
    }
    return body;
}

}  // namespace quillet::DictationPrompt
