#pragma once

#include "base/async/SerialQueue.h"
#include "base/log/Log.h"
#include "base/rpc/JsonRpc.h"
#include "mcp/MCPTools.h"

namespace quillet {

/// Adds the methods of the Model Context Protocol to a dispatcher, which must not outlive `tools`
/// and `worker`, where large results are written.
void offerMCP(JsonRpcDispatcher& dispatcher, MCPTools& tools, SerialQueue& worker,
              std::string_view version, const Log& log);

}  // namespace quillet
