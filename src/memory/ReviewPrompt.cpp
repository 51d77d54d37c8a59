#include "memory/ReviewPrompt.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/text/OneLine.h"
#include "base/text/Text.h"
#include "memory/ReviewTexts.h"
#include "refine/JsonReply.h"

namespace quillet::NightlyReview {

namespace {

using nlohmann::json;

constexpr int mostTokens = 4'000;
constexpr std::string_view nothing = "(empty)";

/// Fewest pairs that may go, and which part of more.
constexpr std::size_t smallestCleanUp = 10;
constexpr std::size_t cleanUpPart = 3;

json message(std::string_view role, std::string_view content) {
    return {{"role", role}, {"content", content}};
}

json body(std::string_view model, json messages) {
    return {{"model", model}, {"messages", std::move(messages)}, {"max_tokens", mostTokens}};
}

std::size_t characters(const Entry& entry) {
    return characterCount(entry.heard) + characterCount(entry.sent) +
           characterCount(entry.again.value_or(""));
}

std::span<const VocabEntry> shown(std::span<const VocabEntry> vocabulary) {
    return vocabulary.first(std::min(vocabulary.size(), mostPairsInPrompt));
}

std::string pairText(const VocabEntry& pair) {
    return fmt::format("{} → {}", oneLine(pair.original), oneLine(pair.corrected));
}

std::vector<std::string> oneLineEach(std::span<const std::string> texts) {
    std::vector<std::string> lines;
    lines.reserve(texts.size());
    for (const auto& text : texts)
        lines.push_back(oneLine(text));
    return lines;
}

std::string memoryText(const Memory& memory) {
    std::vector<std::string> lines;
    if (const auto profile = oneLine(memory.profile); !profile.empty())
        lines.push_back("Profile: " + profile);
    if (!memory.terms.empty())
        lines.push_back(fmt::format("Terms: {}", fmt::join(oneLineEach(memory.terms), ", ")));
    return lines.empty() ? std::string(nothing) : fmt::format("{}", fmt::join(lines, "\n"));
}

std::string vocabularyText(std::span<const VocabEntry> vocabulary) {
    std::string text;
    for (const auto& pair : shown(vocabulary))
        text += "\n" + pairText(pair);
    return text.empty() ? fmt::format("\n{}", nothing) : text;
}

std::string termLines(std::span<const std::string> terms) {
    return terms.empty() ? std::string(nothing)
                         : fmt::format("{}", fmt::join(oneLineEach(terms), "\n"));
}

std::string entryText(const Entry& entry, std::size_t number, const Calendar& calendar) {
    const std::chrono::hh_mm_ss wall(
        calendar.local(entry.time) -
        std::chrono::floor<std::chrono::days>(calendar.local(entry.time)));
    nlohmann::ordered_json object = {
        {"id", number},
        {"time", fmt::format("{:02}:{:02}", wall.hours().count(), wall.minutes().count())}};
    if (entry.app && !entry.app->empty())
        object["app"] = *entry.app;
    object["heard"] = entry.heard;
    object["sent"] = entry.sent;
    if (entry.again && !entry.again->empty())
        object["heard_again"] = *entry.again;
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

/// A number of an entry; 0, which no entry has, for what is no such number.
std::int64_t numberOf(const json& value) {
    const bool fits = value.is_number_integer() && std::abs(value.get<double>()) < 1e15;
    return fits ? value.get<std::int64_t>() : 0;
}

std::int64_t numberOf(const json& object, std::string_view name) {
    const auto found = object.find(name);
    return found == object.end() ? 0 : numberOf(*found);
}

Term readTerm(const json& object) {
    Term term{trimmed(textOf(object, "heard")),
              trimmed(textOf(object, "written")),
              {},
              0,
              oneLine(textOf(object, "reason"))};
    if (const auto* ids = listOf(object, "ids")) {
        for (const auto& id : *ids)
            term.ids.push_back(numberOf(id));
    }
    const auto confidence = object.find("confidence");
    if (confidence != object.end() && confidence->is_number())
        term.confidence = confidence->get<double>();
    return term;
}

Fix readFix(const json& object) {
    return {numberOf(object, "id"), trimmed(textOf(object, "sent")),
            trimmed(textOf(object, "fixed")), oneLine(textOf(object, "reason"))};
}

template <class Row>
std::vector<Row> readRows(const json& reply, std::string_view name, Row (*read)(const json&)) {
    std::vector<Row> rows;
    const auto* list = listOf(reply, name);
    if (list == nullptr)
        return rows;
    for (const auto& element : *list) {
        if (element.is_object())
            rows.push_back(read(element));
    }
    return rows;
}

/// None unless both parts are there: one that is missing is not one that is to be forgotten.
std::optional<Memory> readMemory(const json& reply) {
    const auto memory = reply.find("memory");
    if (memory == reply.end() || listOf(*memory, "terms") == nullptr ||
        !memory->contains("profile") || !memory->at("profile").is_string())
        return std::nullopt;
    return Memory{textOf(*memory, "profile"), textsOf(*memory, "terms")};
}

}  // namespace

std::size_t batchSize(std::span<const Entry> entries) {
    std::size_t size = 0;
    std::size_t total = 0;
    while (size < std::min(entries.size(), mostEntriesInBatch)) {
        total += characters(entries[size]);
        if (total > mostCharactersInBatch && size > 0)
            break;
        ++size;
    }
    return size;
}

json reviewRequest(std::string_view model, const Memory& memory,
                   std::span<const VocabEntry> vocabulary, std::span<const Entry> batch,
                   const Calendar& calendar) {
    const auto instructions = fmt::format(
        "{}{}{}{}{}{}{}{}{}", ReviewTexts::judgeDay, mostProfileCharacters,
        ReviewTexts::profileLimit, mostTerms, ReviewTexts::termLimit, memoryText(memory),
        ReviewTexts::vocabulary, vocabularyText(vocabulary), ReviewTexts::judgeReply);
    std::vector<std::string> lines;
    for (const auto& entry : batch)
        lines.push_back(entryText(entry, lines.size() + 1, calendar));
    return body(model, json::array({message("system", instructions),
                                    message("user", fmt::format("{}", fmt::join(lines, "\n")))}));
}

std::optional<Reply> readReply(std::string_view reply) {
    const auto object = jsonOfReply(reply);
    if (!object)
        return std::nullopt;
    return Reply{readRows(*object, "terms", readTerm), readRows(*object, "fixes", readFix),
                 readMemory(*object)};
}

json cleanUpRequest(std::string_view model, std::span<const VocabEntry> vocabulary,
                    std::span<const std::string> terms) {
    std::vector<std::string> pairs;
    for (const auto& pair : shown(vocabulary))
        pairs.push_back(fmt::format("{}. {}", pairs.size() + 1, pairText(pair)));
    const auto text =
        fmt::format("{}{}{}{}{}", ReviewTexts::cleanUp, fmt::join(pairs, "\n"),
                    ReviewTexts::cleanUpTerms, termLines(terms), ReviewTexts::cleanUpReply);
    return body(model, json::array({message("user", text)}));
}

std::optional<CleanUp> readCleanUp(std::string_view reply, std::size_t pairs,
                                   std::span<const std::string> terms) {
    const auto object = jsonOfReply(reply);
    if (!object)
        return std::nullopt;
    const auto known = std::min(pairs, mostPairsInPrompt);
    std::vector<bool> named(known);
    const auto idOf = +[](const json& row) { return numberOf(row, "id"); };
    for (const auto id : readRows(*object, "remove", idOf)) {
        if (id >= 1 && std::cmp_less_equal(id, known))
            named[static_cast<std::size_t>(id) - 1] = true;
    }
    CleanUp cleanUp;
    for (std::size_t i = 0; i < known; ++i) {
        if (named[i])
            cleanUp.remove.push_back(i);
    }
    if (cleanUp.remove.size() > largestCleanUp(known))
        return std::nullopt;
    const auto dropped = oneLineEach(textsOf(*object, "drop_terms"));
    for (const auto& term : terms) {
        if (std::ranges::find(dropped, oneLine(term)) != dropped.end())
            cleanUp.dropTerms.push_back(term);
    }
    return cleanUp;
}

std::size_t largestCleanUp(std::size_t pairs) {
    return std::max(smallestCleanUp, pairs / cleanUpPart);
}

}  // namespace quillet::NightlyReview
