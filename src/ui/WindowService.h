#pragma once

#include "base/rpc/JsonRpc.h"
#include "ui/kit/Windows.h"

namespace quillet {

/// Offers the application's windows to the `quillet` command. Belongs to the main queue's thread.
class WindowService {
public:
    explicit WindowService(Windows& windows) : windows_(windows) {}

    /// Adds the method; the dispatcher must not outlive this.
    void offer(JsonRpcDispatcher& dispatcher);

private:
    asio::awaitable<JsonRpcDispatcher::Result> open(nlohmann::json params);

    Windows& windows_;
};

}  // namespace quillet
