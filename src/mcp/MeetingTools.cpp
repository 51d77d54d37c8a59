#include "base/text/Text.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using nlohmann::json;

namespace {

constexpr std::size_t mostNotesFound = 20;

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::listMeetings(const ToolArguments& arguments) {
    auto notes = co_await services_.meetings.entries();
    const auto limit = static_cast<std::size_t>(arguments.integer("limit"));
    json list = json::array();
    for (auto& note : std::span(notes).first(std::min(limit, notes.size())))
        list.push_back({{"name", std::move(note.name)}, {"modified", isoText(note.modified)}});
    co_return tool_result::json(list);
}

asio::awaitable<MCPTools::Result> MCPTools::readMeeting(const ToolArguments& arguments) {
    auto note = co_await services_.meetings.read(arguments.text("name"));
    if (!note)
        co_return tool_result::failure("No meeting note by that name — see list_meetings");
    co_return tool_result::text(std::move(*note));
}

asio::awaitable<MCPTools::Result> MCPTools::searchMeetings(const ToolArguments& arguments) {
    auto query = trimmed(arguments.text("query"));
    if (query.empty())
        co_return tool_result::failure("Give a query");
    auto hits = co_await services_.meetings.search(std::move(query), mostNotesFound);
    json list = json::array();
    for (auto& hit : hits)
        list.push_back({{"name", std::move(hit.name)}, {"lines", std::move(hit.lines)}});
    co_return tool_result::json(list);
}

}  // namespace quillet
