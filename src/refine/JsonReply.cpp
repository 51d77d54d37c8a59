#include "refine/JsonReply.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"

namespace quillet {

namespace {

using nlohmann::json;

/// Levels of nesting that a reply may have; the known ones have four.
constexpr std::size_t deepestNesting = 64;

constexpr std::string_view thinkBegin = "<think>";
constexpr std::string_view thinkEnd = "</think>";

std::string withoutThinking(std::string_view reply) {
    std::string text;
    while (true) {
        const auto begin = reply.find(thinkBegin);
        const auto end = begin == std::string_view::npos ? begin : reply.find(thinkEnd, begin);
        if (end == std::string_view::npos)
            return text.append(reply);
        text += reply.substr(0, begin);
        reply.remove_prefix(end + thinkEnd.size());
    }
}

/// Finds where a bracket is closed again that is open.
class BracketWalk {
public:
    /// Whether `c` closes the first bracket.
    bool closes(char c) {
        if (inText_) {
            inText_ = escaped_ || c != '"';
            escaped_ = !escaped_ && c == '\\';
            return false;
        }
        inText_ = c == '"';
        if (c == '{' || c == '[')
            deepest_ = std::max(deepest_, ++depth_);
        return (c == '}' || c == ']') && --depth_ == 0;
    }
    [[nodiscard]] std::size_t deepest() const { return deepest_; }

private:
    std::size_t depth_ = 0;
    std::size_t deepest_ = 0;
    bool inText_ = false;
    bool escaped_ = false;
};

struct Bracketed {
    std::string_view text;
    bool tooDeep = false;
};

/// From the bracket that `text` begins with to the one that closes it; none when nothing does.
std::optional<Bracketed> bracketed(std::string_view text) {
    BracketWalk walk;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (walk.closes(text[i]))
            return Bracketed{text.substr(0, i + 1), walk.deepest() > deepestNesting};
    }
    return std::nullopt;
}

}  // namespace

std::optional<json> jsonOfReply(std::string_view reply) {
    const auto text = withoutThinking(reply);
    auto rest = trimmedView(text);
    // Reasoning without an end was cut off, and what it holds is no answer.
    if (rest.starts_with(thinkBegin))
        return std::nullopt;
    std::optional<json> found;
    for (auto begin = rest.find('{'); begin != std::string_view::npos; begin = rest.find('{')) {
        rest.remove_prefix(begin);
        const auto part = bracketed(rest);
        // The begin of an object that was cut off holds whole ones, which are no answers either.
        if (!part)
            return found;
        rest.remove_prefix(part->text.size());
        if (part->tooDeep)
            return std::nullopt;
        auto value = json::parse(part->text, nullptr, false);
        if (value.is_discarded())
            continue;
        if (found)
            return std::nullopt;
        found = std::move(value);
    }
    return found;
}

std::string textOf(const json& object, std::string_view name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

const json* listOf(const json& object, std::string_view name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_array() ? &*found : nullptr;
}

std::vector<std::string> textsOf(const json& object, std::string_view name) {
    std::vector<std::string> texts;
    const auto* list = listOf(object, name);
    if (list == nullptr)
        return texts;
    for (const auto& element : *list) {
        if (element.is_string())
            texts.push_back(element.get<std::string>());
    }
    return texts;
}

}  // namespace quillet
