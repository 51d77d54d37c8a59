#include "base/async/OnLoop.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"

namespace quillet {

asio::awaitable<MCPTools::Result> MCPTools::dictate(const ToolArguments& arguments) {
    const std::chrono::seconds atMost(arguments.integer("max_seconds"));
    auto text = co_await onLoop(services_.main, services_.control.dictate(atMost));
    if (!text)
        co_return tool_result::failure(text.error());
    co_return tool_result::text(std::move(*text));
}

asio::awaitable<MCPTools::Result> MCPTools::insertText(const ToolArguments& arguments) {
    auto text = arguments.text("text");
    if (text.empty())
        co_return tool_result::failure("Empty text");
    const auto typed = co_await onLoop(services_.main, services_.control.type(std::move(text)));
    if (!typed)
        co_return tool_result::failure(typed.error());
    co_return tool_result::text("Typed at the cursor");
}

}  // namespace quillet
