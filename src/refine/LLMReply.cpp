#include "refine/LLMReply.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"

namespace quillet {

namespace {

using nlohmann::json;

/// Levels of nesting that a response may have; the known ones have five.
constexpr int deepestNesting = 64;

constexpr std::string_view thinkBegin = "<think>";
constexpr std::string_view thinkEnd = "</think>";
constexpr std::string_view fence = "```";
/// Characters of a text that has something between two fences.
constexpr std::size_t shortestFenced = 7;
constexpr std::size_t longestLanguageTag = 20;

/// The response as a value; a discarded one when it is no JSON or nested without reason.
json parsed(std::string_view response) {
    bool tooDeep = false;
    const auto keep = [&tooDeep](int depth, json::parse_event_t event, const json&) {
        const bool opens =
            event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
        tooDeep = tooDeep || (opens && depth >= deepestNesting);
        return !tooDeep;
    };
    auto value = json::parse(response, keep, false);
    return tooDeep ? json(json::value_t::discarded) : value;
}

const json* find(const json& object, std::string_view name) {
    const auto found = object.find(name);
    return found == object.end() ? nullptr : &*found;
}

/// What the first choice says; none when it says nothing, or was cut off.
std::optional<std::string> contentOf(const json& response) {
    const auto* choices = find(response, "choices");
    if (choices == nullptr || !choices->is_array() || choices->empty())
        return std::nullopt;
    const auto& choice = choices->front();
    const auto* message = find(choice, "message");
    const auto* content = message != nullptr ? find(*message, "content") : nullptr;
    const auto* reason = find(choice, "finish_reason");
    if (content == nullptr || !content->is_string() || (reason != nullptr && *reason == "length"))
        return std::nullopt;
    return content->get<std::string>();
}

std::optional<std::string> withoutThinking(std::string_view reply) {
    auto text = trimmed(reply);
    if (text.starts_with(thinkBegin)) {
        if (const auto end = text.find(thinkEnd); end != std::string::npos)
            text = trimmed(std::string_view(text).substr(end + thinkEnd.size()));
    }
    if (text.starts_with(thinkBegin))
        return std::nullopt;
    return text;
}

/// How many bytes the number and the dot at the begin of a numbered item take; 0 for other lines.
std::size_t listNumber(std::string_view line) {
    int32_t at = 0;
    const auto size = static_cast<int32_t>(line.size());
    while (at < size) {
        int32_t next = at;
        UChar32 c = 0;
        U8_NEXT(line.data(), next, size, c);
        if (c < 0 || u_isdigit(c) == 0)
            break;
        at = next;
    }
    const auto digits = static_cast<std::size_t>(at);
    return digits > 0 && line.substr(digits).starts_with('.') ? digits + 1 : 0;
}

bool isBareNumber(std::string_view line) {
    const auto number = listNumber(line);
    return number > 0 && trimmed(line.substr(number)).empty();
}

bool beginsItem(std::string_view line) {
    const auto number = listNumber(line);
    return number > 0 && line.substr(number).starts_with(' ');
}

std::string withoutBlanksAtLineEnds(std::string_view text) {
    std::string tidy;
    tidy.reserve(text.size());
    while (true) {
        const auto lineEnd = text.find('\n');
        const auto line = text.substr(0, lineEnd);
        tidy += line.substr(0, line.find_last_not_of(" \t") + 1);
        if (lineEnd == std::string_view::npos)
            return tidy;
        tidy += '\n';
        text.remove_prefix(lineEnd + 1);
    }
}

/// Without last list numbers that nothing follows.
std::string_view withoutBareNumbers(std::string_view text) {
    while (true) {
        const auto lastBreak = text.rfind('\n');
        if (lastBreak == std::string_view::npos || !isBareNumber(text.substr(lastBreak + 1)))
            return text;
        const auto rest = text.substr(0, lastBreak);
        // Without a line break before it, this is the first line.
        const auto lineBefore = rest.substr(rest.rfind('\n') + 1);
        if (!beginsItem(lineBefore))
            return text;
        text = rest;
    }
}

bool isLanguageTag(std::string_view line) {
    const auto fits = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '+' || c == '.' || c == '-';
    };
    return line.size() <= longestLanguageTag && std::ranges::all_of(line, fits);
}

std::string withoutFence(std::string text) {
    const bool fenced = text.starts_with(fence) && text.ends_with(fence) &&
                        characterCount(firstCharacters(text, shortestFenced)) == shortestFenced;
    if (!fenced)
        return text;
    auto inside = std::string_view(text).substr(fence.size(), text.size() - 2 * fence.size());
    const auto lineEnd = inside.find_first_of("\r\n");
    if (lineEnd != std::string_view::npos && isLanguageTag(inside.substr(0, lineEnd)))
        inside.remove_prefix(lineEnd);
    return trimmed(inside);
}

}  // namespace

std::optional<std::string> parseReply(std::string_view response) {
    const auto content = contentOf(parsed(response));
    if (!content)
        return std::nullopt;
    const auto text = withoutThinking(*content);
    if (!text)
        return std::nullopt;
    const auto lines = withoutBlanksAtLineEnds(*text);
    return withoutFence(trimmed(withoutBareNumbers(lines)));
}

}  // namespace quillet
