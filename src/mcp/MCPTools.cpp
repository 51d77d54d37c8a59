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

MCPTools::MCPTools(Services services)
    : services_(services), recent_(services.history.reader()), news_(std::make_shared<News>()) {}

MCPTools::~MCPTools() = default;

asio::awaitable<MCPTools::Result> MCPTools::callTool(std::string_view name,
                                                     const nlohmann::json& arguments) {
    const auto tool = std::ranges::find(tools(), name, &Tool::name);
    if (tool == tools().end())
        return failed("Unknown tool " + std::string(name));
    return run(*tool, ToolArguments::read(arguments, tool->properties));
}

asio::awaitable<MCPTools::Result> MCPTools::failed(std::string sentence) {
    co_return tool_result::failure(sentence);
}

asio::awaitable<MCPTools::Result> MCPTools::run(const Tool& tool,
                                                std::expected<ToolArguments, std::string> given) {
    if (tool.access == Tool::Access::controls && !co_await mayControl())
        co_return tool_result::failure(notAllowed);
    if (!given)
        co_return tool_result::failure(given.error());
    co_return co_await (this->*tool.run)(*given);
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
