#include "ui/WindowService.h"

#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"

namespace quillet {

using nlohmann::json;

void WindowService::offer(JsonRpcDispatcher& dispatcher) {
    dispatcher.add(std::string(control::open),
                   [this](json params) { return open(std::move(params)); });
}

asio::awaitable<JsonRpcDispatcher::Result> WindowService::open(json params) {
    const auto name = params.is_object() ? params.value("window", json()) : json();
    const auto kind = name.is_string() ? windowNamed(name.get<std::string>()) : std::nullopt;
    if (!kind)
        co_return std::unexpected(
            RpcError{rpc_code::invalidParams, "There is no window of this name."});
    if (!windows_.isOffered(*kind))
        co_return std::unexpected(
            RpcError{rpc_code::invalidParams, "This window is not available here."});
    windows_.open(*kind);
    co_return json(true);
}

}  // namespace quillet
