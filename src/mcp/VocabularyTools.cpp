#include "base/text/Text.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "memory/ReviewJudge.h"

namespace quillet {

using nlohmann::json;

namespace {

MCPTools::Result written(const std::vector<VocabEntry>& entries) {
    json list = json::array();
    for (const auto& entry : entries)
        list.push_back(
            {{"heard", entry.original}, {"written", entry.corrected}, {"count", entry.frequency}});
    return tool_result::json(list);
}

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::getVocabulary(const ToolArguments&) {
    const auto entries = co_await services_.vocabulary.allEntries();
    if (entries->empty() && co_await services_.vocabulary.lastError())
        co_return tool_result::failure("The vocabulary cannot be read");
    // A large vocabulary takes its time.
    co_return co_await services_.vocabulary.queue().run([entries] { return written(*entries); });
}

asio::awaitable<MCPTools::Result> MCPTools::addVocabulary(const ToolArguments& arguments) {
    const auto heard = trimmed(arguments.text("heard"));
    const auto written = trimmed(arguments.text("written"));
    if (!NightlyReview::isUsablePair(heard, written))
        co_return tool_result::failure(
            "Not a usable pair: 'heard' needs 2–24 characters (4+ for English), 'written' a short "
            "single line");
    constexpr double certain = 1;
    if (!co_await services_.vocabulary.learn(heard, written, certain,
                                             std::string(vocabulary_source::agent)))
        co_return tool_result::failure("The vocabulary could not be saved");
    co_return tool_result::text("Learned: " + heard + " → " + written);
}

}  // namespace quillet
