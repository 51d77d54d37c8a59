#include "base/rpc/JsonRpc.h"

#include <nlohmann/json.hpp>

namespace quillet {

namespace {

using nlohmann::json;

std::string replyText(const json& id, const JsonRpcDispatcher::Result& result) {
    json reply = {{"jsonrpc", "2.0"}, {"id", id}};
    if (result)
        reply["result"] = *result;
    else
        reply["error"] = {{"code", result.error().code}, {"message", result.error().message}};
    return reply.dump(-1, ' ', false, json::error_handler_t::replace);
}

bool isRequest(const json& message) {
    return message.is_object() && message.contains("jsonrpc") && message["jsonrpc"] == "2.0" &&
           message.contains("method") && message["method"].is_string();
}

}  // namespace

JsonRpcDispatcher::JsonRpcDispatcher() = default;

JsonRpcDispatcher::~JsonRpcDispatcher() = default;

void JsonRpcDispatcher::add(std::string name, Method method) {
    methods_.insert_or_assign(std::move(name), std::move(method));
}

asio::awaitable<std::optional<std::string>> JsonRpcDispatcher::handle(std::string message) {
    const auto request = json::parse(message, nullptr, false);
    if (request.is_discarded()) {
        const RpcError error{rpc_code::parseError, "Parse error"};
        co_return replyText(nullptr, std::unexpected(error));
    }
    if (!isRequest(request)) {
        const RpcError error{rpc_code::invalidRequest, "Invalid Request"};
        co_return replyText(nullptr, std::unexpected(error));
    }
    const auto result = co_await call(request);
    if (!request.contains("id"))
        co_return std::nullopt;
    co_return replyText(request["id"], result);
}

asio::awaitable<JsonRpcDispatcher::Result> JsonRpcDispatcher::call(const json& request) {
    const auto found = methods_.find(request["method"].get_ref<const std::string&>());
    if (found == methods_.end()) {
        RpcError error{rpc_code::methodNotFound,
                       "Method not found: " + request["method"].get<std::string>()};
        co_return std::unexpected(std::move(error));
    }
    auto params = request.value("params", json::object());
    co_return co_await found->second(std::move(params));
}

}  // namespace quillet
