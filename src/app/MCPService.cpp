#include "app/MCPService.h"

#include <nlohmann/json.hpp>

#include "base/async/OnLoop.h"
#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

using nlohmann::json;
using Result = JsonRpcDispatcher::Result;

MCPService::Command commandWith(const MCPKey::Key& key, std::string (*sentence)(Keychain::Error)) {
    if (!key)
        return std::unexpected(sentence(key.error()));
    return MCPServer::setupCommand(*key);
}

std::string explained(Keychain::Error error) {
    return std::string(explanation(error));
}

asio::awaitable<Result> answerOf(asio::awaitable<MCPService::Command> asked) {
    auto command = co_await std::move(asked);
    if (!command)
        co_return refusal(std::move(command.error()));
    co_return json{{"command", std::move(*command)}};
}

struct ServerState {
    bool isListening = false;
    std::string problem;
};

asio::awaitable<ServerState> stateOf(const MCPServer& server) {
    co_return ServerState{server.isListening(), server.problem()};
}

}  // namespace

MCPService::MCPService(Services services) : services_(services), tasks_(services_.main) {
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { settingsChanged(); });
    settingsChanged();
}

void MCPService::settingsChanged() {
    auto follow = [](MCPService& self) -> asio::awaitable<void> {
        co_await self.follow();
        self.services_.notifications.post(mcpChangedNotification);
    };
    if (services_.settings.record().mcpEnabled != wanted_)
        tasks_.spawn(follow(*this));
}

void MCPService::offer(JsonRpcDispatcher& dispatcher) {
    dispatcher.add(std::string(control::mcpStatus), [this](const json&) { return status(); });
    dispatcher.add(std::string(control::mcpSwitch),
                   [this](json params) { return switchTo(std::move(params)); });
    dispatcher.add(std::string(control::mcpCommand),
                   [this](const json&) { return answerOf(setupCommand()); });
    dispatcher.add(std::string(control::mcpNewKey),
                   [this](const json&) { return answerOf(newKey()); });
}

asio::awaitable<void> MCPService::shutDown() {
    isShutDown_ = true;
    co_await onLoop(services_.loop, services_.server.setEnabled(false));
}

/// Makes the server as the settings want it.
asio::awaitable<MCPServer::Listening> MCPService::follow() {
    wanted_ = services_.settings.record().mcpEnabled;
    const bool on = wanted_ && !isShutDown_;
    co_return co_await onLoop(services_.loop, services_.server.setEnabled(on));
}

asio::awaitable<MCPService::State> MCPService::state() {
    const auto server = co_await onLoop(services_.loop, stateOf(services_.server));
    const auto& record = services_.settings.record();
    co_return State{record.mcpEnabled, record.mcpAllowControl, server.isListening, server.problem,
                    MCPServer::url(MCPServer::usualPort)};
}

asio::awaitable<MCPService::Command> MCPService::setupCommand() {
    co_return commandWith(co_await services_.key.read(), unreadableKey);
}

asio::awaitable<MCPService::Command> MCPService::newKey() {
    co_return commandWith(co_await services_.key.renew(), explained);
}

asio::awaitable<Result> MCPService::status() {
    const auto now = co_await state();
    json answer = {{"running", true},
                   {"on", now.isOn},
                   {"control", now.mayControl},
                   {"listening", now.isListening},
                   {"url", now.url}};
    if (!now.problem.empty())
        answer["problem"] = now.problem;
    co_return answer;
}

asio::awaitable<Result> MCPService::switchTo(json params) {
    const bool on = params.value("on", false);
    wanted_ = on;
    const bool isSaved =
        services_.settings.change([on](QuilletSettings& record) { record.mcpEnabled = on; });
    if (!isSaved)
        co_return refusal("The settings could not be saved. Is the disk full?");
    if (const auto listening = co_await follow(); !listening)
        co_return refusal(listening.error());
    co_return co_await status();
}

}  // namespace quillet
