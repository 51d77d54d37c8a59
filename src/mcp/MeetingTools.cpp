#include <utility>

#include "base/text/JsonString.h"
#include "base/text/Text.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using nlohmann::json;

namespace {

constexpr std::size_t mostNotesFound = 20;

/// Megabytes, where a word stands in every line, so it is written by hand: pretty-printed with
/// sorted keys, as the other results are.
MCPTools::Result written(const std::vector<MeetingLibrary::Hit>& hits) {
    if (hits.empty())
        return tool_result::text("[]");
    std::string json;
    for (const auto& hit : hits) {
        json += json.empty() ? "[\n  {\n    \"lines\": [" : ",\n  {\n    \"lines\": [";
        std::string_view before = "\n      ";
        for (const auto& line : hit.lines) {
            json += std::exchange(before, ",\n      ");
            appendJsonString(json, line);
        }
        json += "\n    ],\n    \"name\": ";
        appendJsonString(json, hit.name);
        json += "\n  }";
    }
    return tool_result::text(std::move(json) + "\n]");
}

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
    const auto hits = co_await services_.meetings.search(std::move(query), mostNotesFound);
    auto write = [&hits] { return written(hits); };
    co_return co_await services_.meetings.queue().run(std::move(write));
}

}  // namespace quillet
