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
    constexpr std::string_view begin = R"({"jsonrpc":"2.0","id":)";
    constexpr std::size_t roomForId = 64;
    std::string reply;
    reply.reserve(begin.size() + roomForId + value.size());
    reply.append(begin)
        .append(textOf(id))
        .append(",\"")
        .append(member)
        .append("\":")
        .append(value)
        .append("}");
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

const json& paramsOf(const json& request) {
    static const json none = json::object();
    const auto params = request.find("params");
    return params != request.end() && params->is_object() ? *params : none;
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
    addText(std::move(name), [method = std::move(method)](const json& params) {
        return serialised(method(params));
    });
}

void JsonRpcDispatcher::addText(std::string name, TextMethod method) {
    methods_.insert_or_assign(std::move(name), std::move(method));
}

void JsonRpcDispatcher::addFixed(std::string name, std::string result) {
    fixed_.insert_or_assign(std::move(name), std::move(result));
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

std::optional<std::string> JsonRpcDispatcher::answerAtOnce(const json& request) const {
    const auto& id = request.at("id");
    const auto method = request.find("method");
    const auto* name = method == request.end() ? nullptr : method->get_ptr<const json::string_t*>();
    const auto fixed = name != nullptr ? fixed_.find(*name) : fixed_.end();
    if (fixed != fixed_.end())
        return replyText(id, "result", fixed->second);
    if (name == nullptr || !methods_.contains(*name))
        return errorText(id, {rpc_code::methodNotFound, "Method not found"});
    return std::nullopt;
}

asio::awaitable<std::optional<std::string>> JsonRpcDispatcher::answer(const json& request) const {
    if (!request.contains("id"))
        co_return std::nullopt;
    if (auto reply = answerAtOnce(request))
        co_return reply;
    const auto& id = request.at("id");
    const auto& method = methods_.at(request.at("method").get_ref<const std::string&>());
    const auto result = co_await method(paramsOf(request));
    if (!result)
        co_return errorText(id, result.error());
    co_return replyText(id, "result", *result);
}

asio::awaitable<std::optional<std::string>> JsonRpcDispatcher::handle(std::string message) {
    const auto request = parse(message);
    if (!request)
        co_return request.error();
    co_return co_await answer(*request);
}

}  // namespace quillet
