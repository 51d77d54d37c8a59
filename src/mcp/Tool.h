#pragma once

#include <string_view>
#include <vector>

#include "mcp/MCPTools.h"
#include "mcp/ToolArguments.h"

namespace quillet {

/// A row of the table of tools.
struct MCPTools::Tool {
    enum class Access {
        reads,
        controls,  ///< needs the user's permission, `mcpAllowControl`
    };

    std::string_view name;
    std::string_view description;
    std::vector<ToolProperty> properties;
    Access access = Access::reads;
    asio::awaitable<Result> (MCPTools::*run)(const ToolArguments& arguments);
};

}  // namespace quillet
