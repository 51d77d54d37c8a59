#include "app/MemoryService.h"

#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

using nlohmann::json;
using Result = JsonRpcDispatcher::Result;

Result toResult(ReviewLedger::Done done) {
    if (!done)
        return refusal(std::move(done.error()));
    return json(true);
}

std::optional<std::size_t> numberIn(const json& params) {
    const auto number = params.is_object() ? params.value("number", json()) : json();
    if (!number.is_number_integer() || number < 1)
        return std::nullopt;
    return number.get<std::size_t>();
}

Result needsNumber() {
    return std::unexpected(
        RpcError{rpc_code::invalidParams, "The number of a suggestion is a whole one from 1 on."});
}

}  // namespace

void MemoryService::offer(JsonRpcDispatcher& dispatcher) {
    dispatcher.add(std::string(control::reviewRun), [this](const json&) { return run(); });
    dispatcher.add(std::string(control::reviewAccept), [this](json params) {
        return settle(std::move(params), &ReviewLedger::accept);
    });
    dispatcher.add(std::string(control::reviewDismiss), [this](json params) {
        return settle(std::move(params), &ReviewLedger::dismiss);
    });
    dispatcher.add(std::string(control::reviewUndo),
                   [this](json params) { return undo(std::move(params)); });
    dispatcher.add(std::string(control::knowledgeRun), [this](const json&) { return distil(); });
    dispatcher.add(std::string(control::knowledgeDelete),
                   [this](json params) { return remove(std::move(params)); });
}

asio::awaitable<Result> MemoryService::run() {
    auto reviewed = co_await reviewer_.run();
    if (!reviewed)
        co_return refusal(std::move(reviewed.error()));
    co_return json{{"report", reviewer_.state().report.value_or("")}};
}

asio::awaitable<Result> MemoryService::settle(json params, Answer answer) {
    const auto number = numberIn(params);
    if (!number)
        co_return needsNumber();
    co_return toResult(co_await (reviewer_.ledger().*answer)(*number));
}

asio::awaitable<Result> MemoryService::undo(json params) {
    if (!params.is_object() || !params.contains("number"))
        co_return toResult(co_await reviewer_.ledger().undoLastRun());
    const auto number = numberIn(params);
    if (!number)
        co_return needsNumber();
    co_return toResult(co_await reviewer_.ledger().undo(*number));
}

asio::awaitable<Result> MemoryService::distil() {
    auto report = co_await knowledge_.run();
    if (!report)
        co_return refusal(std::move(report.error()));
    co_return json{{"report", std::move(*report)}};
}

asio::awaitable<Result> MemoryService::remove(json params) {
    const auto text = [&params](const char* name) {
        const auto value = params.is_object() ? params.value(name, json()) : json();
        return value.is_string() ? value.get<std::string>() : std::string();
    };
    if (!text("item").empty())
        co_return toResult(co_await knowledge_.deleteItem(text("item")));
    if (!text("category").empty())
        co_return toResult(co_await knowledge_.deleteCategory(text("category")));
    co_return std::unexpected(
        RpcError{rpc_code::invalidParams, "Name the item or the category to delete."});
}

}  // namespace quillet
