#include "meetings/MeetingNotesRequest.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/text/Letters.h"
#include "base/text/Text.h"
#include "refine/JsonReply.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr int mostTokens = 4'000;

// Models were tuned to these texts: a change of a single mark changes what they write.

constexpr std::string_view instructions =
    R"text(You write meeting notes from a speech-recognition transcript. Lines are "[mm:ss] speaker: text"; speakers are 说话人 A, B… unless the transcript shows their names.

Reply with JSON only:
{"title": "…", "summary": "…", "decisions": ["…"], "todos": [{"owner": "…", "task": "…", "due": "…"}], "questions": [{"question": "…", "answer": "…"}], "follow_up": "…"}

- title: a few words naming what the meeting was about.
- summary: Markdown bullet lines ("- …"): the key points, in the order discussed. Concise; no filler.
- decisions: what was settled, including spoken agreement ("就这么定了", "OK let's do that"). None: [].
- todos: a commitment, or a request someone accepted — not a mere suggestion. owner: a name if one was said, else the speaker label, else null; due: exactly as said ("周五", "by Sep 30"), never converted to a date, else null. None: [].
- questions: questions raised, with the answer given in the meeting, else answer null. None: [].
- follow_up: a short message to the attendees recapping decisions and who does what, ready to send.
- Write everything in )text";
constexpr std::string_view english = "English";
constexpr std::string_view chinese = "Simplified Chinese (简体中文)";
constexpr std::string_view rules =
    R"text(. Amounts and numbers exactly as said: never add a currency or unit that wasn't said. Recognition errors: write the word that was meant; skip a passage you can't make sense of rather than guess. A name heard in a greeting says nothing about that person's role. Never invent facts, names, numbers or dates.)text";
constexpr std::string_view aboutTheUser = R"text(

About the user (reference only):
)text";

/// None for what models write where there is nothing to tell.
std::optional<std::string> toldText(const json& object, std::string_view name) {
    auto text = trimmed(textOf(object, name));
    if (text.empty() || asciiLowered(text) == "null")
        return std::nullopt;
    return text;
}

/// The text by that name, or the object itself where it is nothing but a text.
std::string mainText(const json& object, std::string_view name) {
    return trimmed(object.is_string() ? object.get<std::string>() : textOf(object, name));
}

std::vector<std::string> readDecisions(const json& reply) {
    std::vector<std::string> decisions;
    for (const auto& text : textsOf(reply, "decisions")) {
        if (auto decision = trimmed(text); !decision.empty())
            decisions.push_back(std::move(decision));
    }
    return decisions;
}

std::vector<MeetingNote::Todo> readTodos(const json& reply) {
    std::vector<MeetingNote::Todo> todos;
    const auto* list = listOf(reply, "todos");
    if (list == nullptr)
        return todos;
    for (const auto& element : *list) {
        if (auto task = mainText(element, "task"); !task.empty())
            todos.push_back(
                {toldText(element, "owner"), std::move(task), toldText(element, "due")});
    }
    return todos;
}

std::vector<MeetingNote::Question> readQuestions(const json& reply) {
    std::vector<MeetingNote::Question> questions;
    const auto* list = listOf(reply, "questions");
    if (list == nullptr)
        return questions;
    for (const auto& element : *list) {
        if (auto question = mainText(element, "question"); !question.empty())
            questions.push_back({std::move(question), toldText(element, "answer")});
    }
    return questions;
}

}  // namespace

json meetingNotesRequest(std::string_view model, std::string_view transcript,
                         std::string_view profile) {
    auto system = fmt::format("{}{}{}", instructions, notesLanguage(transcript), rules);
    if (const auto known = trimmedView(profile); !known.empty())
        system += fmt::format("{}{}", aboutTheUser, known);
    return {{"model", model},
            {"messages", json::array({{{"role", "system"}, {"content", std::move(system)}},
                                      {{"role", "user"}, {"content", transcript}}})},
            {"max_tokens", mostTokens}};
}

std::string_view notesLanguage(std::string_view transcript) {
    return isMostlyEnglish(transcript) ? english : chinese;
}

bool isMostlyEnglish(std::string_view text) {
    std::size_t words = 0;
    std::size_t ideographs = 0;
    bool inWord = false;
    for (const auto kind : characterKinds(text)) {
        const bool wordly = kind != CharacterKind::han && kind != CharacterKind::other;
        words += wordly && !inWord ? 1 : 0;
        ideographs += kind == CharacterKind::han ? 1 : 0;
        inWord = wordly;
    }
    return ideographs < words;
}

std::optional<MeetingNote::Summary> readSummary(std::string_view reply) {
    const auto object = jsonOfReply(reply);
    if (!object)
        return std::nullopt;
    return MeetingNote::Summary{trimmed(textOf(*object, "title")),
                                trimmed(textOf(*object, "summary")),
                                readDecisions(*object),
                                readTodos(*object),
                                readQuestions(*object),
                                trimmed(textOf(*object, "follow_up"))};
}

}  // namespace quillet
