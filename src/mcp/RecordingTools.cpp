#include "base/async/OnLoop.h"
#include "mcp/OpenAudioFile.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using nlohmann::json;

namespace {

MCPTools::Result written(std::vector<AgentControl::Recording>&& recordings) {
    json list = json::array();
    for (auto& recording : recordings) {
        json one = {{"id", std::move(recording.id)},
                    {"time", isoText(recording.time)},
                    {"seconds", recording.seconds}};
        if (recording.transcript)
            one["transcript"] = std::move(*recording.transcript);
        list.push_back(std::move(one));
    }
    return tool_result::json(list);
}

MCPTools::Result written(AgentControl::Text&& text) {
    return text ? tool_result::text(std::move(*text)) : tool_result::failure(text.error());
}

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::listRecordings(const ToolArguments&) {
    auto recordings = co_await onLoop(services_.main, services_.control.recordings());
    auto write = [&recordings] { return written(std::move(recordings)); };
    co_return co_await services_.meetings.queue().run(std::move(write));
}

asio::awaitable<MCPTools::Result> MCPTools::transcribeRecording(const ToolArguments& arguments) {
    auto text = co_await onLoop(services_.main,
                                services_.control.transcribeRecording(arguments.text("id")));
    if (!text)
        co_return tool_result::failure("No such recording — see list_recordings");
    co_return written(std::move(*text));
}

asio::awaitable<MCPTools::Result> MCPTools::transcribeFile(const ToolArguments& arguments) {
    auto open = [path = arguments.text("path")] { return openAudioFile(path); };
    // Where a disk that sleeps holds nobody up.
    auto file = co_await services_.meetings.queue().run(std::move(open));
    if (!file)
        co_return tool_result::failure(file.error());
    co_return written(
        co_await onLoop(services_.main, services_.control.transcribeFile(std::move(*file))));
}

}  // namespace quillet
