#include "speech/cleanup/SnippetMatch.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/text/Text.h"

namespace quillet {

namespace {

constexpr std::array<std::string_view, 6> commandWords = {"插入", "输入",   "粘贴",
                                                          "填入", "insert", "paste"};
constexpr std::size_t shortestTrigger = 2;

}  // namespace

const Snippet* matchSnippet(std::string_view transcript, std::span<const Snippet> snippets) {
    if (snippets.empty())
        return nullptr;
    const auto said = comparisonForm(transcript);
    if (said.empty())
        return nullptr;
    std::vector<std::string_view> keys = {said};
    for (const auto word : commandWords) {
        if (said.starts_with(word))
            keys.push_back(std::string_view(said).substr(word.size()));
    }
    for (const auto& snippet : snippets) {
        const auto trigger = comparisonForm(snippet.trigger);
        if (characterCount(trigger) >= shortestTrigger &&
            std::ranges::find(keys, trigger) != keys.end())
            return &snippet;
    }
    return nullptr;
}

}  // namespace quillet
