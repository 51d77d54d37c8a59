#include "mcp/MCPTools.h"

#include <algorithm>

#include "base/async/OnLoop.h"
#include "mcp/Tool.h"
#include "mcp/ToolResult.h"

namespace quillet {

namespace {

constexpr std::string_view notAllowed =
    "Not allowed: the user has to turn on \"Allow AI to record and type\" in Quillet Settings → "
    "Your AI (MCP).";

}  // namespace

MCPTools::MCPTools(Services services) : services_(services), news_(std::make_shared<News>()) {}

MCPTools::~MCPTools() = default;

asio::awaitable<MCPTools::Result> MCPTools::callTool(std::string name, nlohmann::json arguments) {
    const auto tool = std::ranges::find(tools(), name, &Tool::name);
    if (tool == tools().end())
        co_return tool_result::failure("Unknown tool " + name);
    if (tool->access == Tool::Access::controls && !co_await mayControl())
        co_return tool_result::failure(notAllowed);
    const auto given = ToolArguments::read(arguments, tool->properties);
    if (!given)
        co_return tool_result::failure(given.error());
    co_return co_await (this->*tool->run)(*given);
}

asio::awaitable<bool> MCPTools::mayControl() {
    auto ask = [](AppSettings& settings) -> asio::awaitable<bool> {
        co_return settings.record().mcpAllowControl;
    };
    co_return co_await onLoop(services_.main, ask(services_.settings));
}

void MCPTools::entryLogged() {
    services_.loop.enqueue([weak = std::weak_ptr(news_)] {
        const auto news = weak.lock();
        if (!news)
            return;
        ++news->generation;
        news->arrived.set();  // for those who wait; others compare the generation
        news->arrived.reset();
    });
}

}  // namespace quillet
