#include <nlohmann/json.hpp>

#include "Laws.h"
#include "Targets.h"
#include "base/async/CommandLoop.h"
#include "base/rpc/JsonRpc.h"

namespace quillet::fuzz {

namespace {

using nlohmann::json;
using Result = JsonRpcDispatcher::Result;

asio::awaitable<Result> echo(json params) {
    require(params.is_object(), "a method gets an object");
    co_return params;
}

json replyTo(const std::string& message, JsonRpcDispatcher& dispatcher, bool& isNotification) {
    CommandLoop loop;
    const auto reply = loop.run(dispatcher.handle(message));
    isNotification = !reply;
    const auto value = json::parse(reply.value_or("null"), nullptr, false);
    require(!value.is_discarded(), "a reply is JSON", reply.value_or(""));
    return value;
}

}  // namespace

/// A message of JSON-RPC.
void message(std::string_view input) {
    JsonRpcDispatcher dispatcher;
    dispatcher.add("echo", echo);
    bool isNotification = false;
    const auto reply = replyTo(std::string(input), dispatcher, isNotification);
    const auto request = JsonRpcDispatcher::parse(input);
    require(isNotification == (request && !request->contains("id")),
            "what has no id, and only that, gets no reply", input);
    if (isNotification)
        return;
    require(reply.value("jsonrpc", "") == "2.0" && reply.contains("id"), "a reply names its call");
    require(reply.contains("result") != reply.contains("error"), "a reply is one or the other");
    if (request)
        require(reply["id"].dump() == (*request)["id"].dump(), "a reply has the request's id");
}

}  // namespace quillet::fuzz
