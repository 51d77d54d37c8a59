#include <algorithm>
#include <asio/experimental/awaitable_operators.hpp>
#include <memory>

#include "base/async/OnLoop.h"
#include "base/text/Text.h"
#include "mcp/MemorySearch.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using namespace asio::experimental::awaitable_operators;
using nlohmann::json;

namespace {

using Hits = std::vector<MemoryHit>;

/// Nobody looks for more.
constexpr std::size_t longestQuery = 1'000;

MemoryQuery queryOf(const ToolArguments& arguments) {
    MemoryQuery query;
    query.text = arguments.text("query");
    query.words = queryWords(query.text);
    query.app = trimmed(arguments.text("app"));
    query.since = arguments.time("since");
    query.until = arguments.time("until");
    query.kinds = arguments.choices("kinds");
    query.limit = static_cast<std::size_t>(arguments.integer("limit"));
    return query;
}

// The sources. The query outlives the searches.

asio::awaitable<std::vector<TranscriptEntry>> inHistory(SessionStore& history,
                                                        const MemoryQuery& query) {
    if (!query.wantsHistory())
        co_return std::vector<TranscriptEntry>();
    co_return co_await history.search(historyFilter(query));
}

asio::awaitable<Hits> inMeetings(MeetingLibrary& meetings, const MemoryQuery& query,
                                 const Calendar& calendar) {
    if (!query.wants(MemoryKind::meeting))
        co_return Hits();
    NoteSearch search(query, calendar);
    co_await meetings.forEach(
        [&search](const auto& note, const auto& content) { search.look(note, content); });
    co_return search.take();
}

asio::awaitable<Hits> inKnowledge(KnowledgeKeeper& knowledge, Loop& main, SerialQueue& queue,
                                  const MemoryQuery& query) {
    if (!query.wants(MemoryKind::knowledge))
        co_return Hits();
    const auto base = co_await onLoop(main, knowledge.state());
    auto search = [&] { return searchKnowledge(base->store, query); };
    co_return co_await queue.run(std::move(search));
}

Hits hitsOf(const std::vector<TranscriptEntry>& entries, const MemoryQuery& query) {
    const std::vector<CaselessWord> words(query.words.begin(), query.words.end());
    Hits hits;
    for (const auto& entry : entries)
        hits.push_back(hitOf(entry, words));
    return hits;
}

MCPTools::Result written(Hits&& hits, std::size_t limit) {
    std::ranges::sort(hits, std::ranges::greater{}, &MemoryHit::time);
    hits.resize(std::min(hits.size(), limit));
    json list = json::array();
    for (auto& hit : hits)
        list.push_back({{"kind", nameOf(hit.kind)},
                        {"id", std::move(hit.id)},
                        {"time", isoText(hit.time)},
                        {"app", std::move(hit.app)},
                        {"title", std::move(hit.title)},
                        {"snippet", std::move(hit.snippet)}});
    return tool_result::json(list);
}

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::searchMemory(const ToolArguments& arguments) {
    const auto query = queryOf(arguments);
    if (query.words.empty())
        co_return tool_result::failure("Give a query");
    if (query.text.size() > longestQuery)
        co_return tool_result::failure("The query is too long — give a few words");
    auto& meetings = services_.meetings;
    auto [said, noted, filed] = co_await (
        inHistory(services_.history, query) && inMeetings(meetings, query, services_.calendar) &&
        inKnowledge(services_.knowledge, services_.main, meetings.queue(), query));
    if (said.empty() && query.wantsHistory()) {
        if (auto problem = co_await historyProblem())
            co_return std::move(*problem);
    }
    auto write = [&query, &entries = said, &notes = noted, &items = filed] {
        auto hits = hitsOf(entries, query);
        std::ranges::move(notes, std::back_inserter(hits));
        std::ranges::move(items, std::back_inserter(hits));
        return written(std::move(hits), query.limit);
    };
    co_return co_await meetings.queue().run(std::move(write));
}

}  // namespace quillet
