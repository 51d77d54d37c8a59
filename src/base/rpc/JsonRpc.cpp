#include "base/rpc/JsonRpc.h"

#include <nlohmann/json.hpp>

namespace quillet {

namespace {

using nlohmann::json;

/// Walking over a value calls itself for each level, so the levels must be few.
constexpr int deepestNesting = 64;

std::string textOf(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

std::string replyText(const json& id, std::string_view member, std::string_view value) {
    std::string reply = R"({"jsonrpc":"2.0","id":)";
    reply.append(textOf(id)).append(",\"").append(member).append("\":").append(value).append("}");
    return reply;
}

std::string errorText(const json& id, const RpcError& error) {
    return replyText(id, "error", textOf({{"code", error.code}, {"message", error.message}}));
}

/// Whether brackets are nested deeper than is allowed, outside of strings.
bool isTooDeep(std::string_view message) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < message.size(); ++i) {
        const char c = message[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else
                inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > deepestNesting)
                return true;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

json paramsOf(json& request) {
    const auto params = request.find("params");
    return params != request.end() && params->is_object() ? std::move(*params) : json::object();
}

asio::awaitable<JsonRpcDispatcher::TextResult> serialised(
    asio::awaitable<JsonRpcDispatcher::Result> call) {
    const auto result = co_await std::move(call);
    if (!result)
        co_return std::unexpected(result.error());
    co_return textOf(*result);
}

}  // namespace

std::unexpected<RpcError> refusal(std::string_view sentence) {
    return std::unexpected(RpcError{rpc_code::refused, std::string(sentence)});
}

JsonRpcDispatcher::JsonRpcDispatcher() = default;

JsonRpcDispatcher::~JsonRpcDispatcher() = default;

void JsonRpcDispatcher::add(std::string name, Method method) {
    addText(std::move(name), [method = std::move(method)](json params) {
        return serialised(method(std::move(params)));
    });
}

void JsonRpcDispatcher::addText(std::string name, TextMethod method) {
    methods_.insert_or_assign(std::move(name), std::move(method));
}

std::expected<json, std::string> JsonRpcDispatcher::parse(std::string_view message) {
    auto request =
        isTooDeep(message) ? json(json::value_t::discarded) : json::parse(message, nullptr, false);
    if (request.is_discarded())
        return std::unexpected(errorText(nullptr, {rpc_code::parseError, "Parse error"}));
    if (!request.is_object())
        return std::unexpected(errorText(nullptr, {rpc_code::invalidRequest, "Invalid request"}));
    return request;
}

asio::awaitable<std::optional<std::string>> JsonRpcDispatcher::answer(json request) {
    if (!request.contains("id"))
        co_return std::nullopt;
    const auto& id = request["id"];
    const auto method = request.find("method");
    const auto found = method != request.end() && method->is_string()
                           ? methods_.find(method->get_ref<const std::string&>())
                           : methods_.end();
    if (found == methods_.end())
        co_return errorText(id, {rpc_code::methodNotFound, "Method not found"});
    const auto result = co_await found->second(paramsOf(request));
    if (!result)
        co_return errorText(id, result.error());
    co_return replyText(id, "result", *result);
}

asio::awaitable<std::optional<std::string>> JsonRpcDispatcher::handle(std::string message) {
    auto request = parse(message);
    if (!request)
        co_return std::move(request).error();
    co_return co_await answer(std::move(*request));
}

}  // namespace quillet
