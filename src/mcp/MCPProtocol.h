#pragma once

#include "base/log/Log.h"
#include "base/rpc/JsonRpc.h"
#include "mcp/MCPTools.h"

namespace quillet {

/// Adds the methods of the Model Context Protocol to a dispatcher, which must not outlive `tools`.
void offerMCP(JsonRpcDispatcher& dispatcher, MCPTools& tools, std::string_view version,
              const Log& log);

}  // namespace quillet
