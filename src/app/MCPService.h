#pragma once

#include "base/async/Loop.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "base/rpc/JsonRpc.h"
#include "mcp/MCPServer.h"
#include "settings/AppSettings.h"

namespace quillet {

/// The server for AI clients was switched, or could not be.
inline constexpr std::string_view mcpChangedNotification = "Quillet.MCPChanged";

/// Switches the server for AI clients as the settings say, and offers its key and its state to the
/// `quillet` command. Belongs to the main queue's thread.
class MCPService {
public:
    struct Services {
        Loop& main;
        IoLoop& loop;  ///< the server's
        NotificationCenter& notifications;
        AppSettings& settings;
        MCPKey& key;
        MCPServer& server;  ///< lives on its loop
    };

    explicit MCPService(Services services);

    struct State {
        bool isOn = false;
        bool mayControl = false;  ///< clients may record and type
        bool isListening = false;
        std::string problem;  ///< why it does not listen though it is on; a sentence for the user
        std::string url;
    };
    /// The line that sets a client up; the error is a sentence for the user.
    using Command = std::expected<std::string, std::string>;

    [[nodiscard]] asio::awaitable<State> state();
    [[nodiscard]] asio::awaitable<Command> setupCommand();
    /// Shuts out every client that was set up before.
    [[nodiscard]] asio::awaitable<Command> newKey();

    /// Adds the methods; the dispatcher must not outlive this.
    void offer(JsonRpcDispatcher& dispatcher);

    /// Ends every client's call and lets nobody in any more. To be awaited before the server goes.
    [[nodiscard]] asio::awaitable<void> shutDown();

private:
    using Result = JsonRpcDispatcher::Result;

    void settingsChanged();
    asio::awaitable<MCPServer::Listening> follow();
    asio::awaitable<Result> status();
    asio::awaitable<Result> switchTo(nlohmann::json params);

    Services services_;
    bool wanted_ = false;  // what the settings said last
    bool isShutDown_ = false;
    NotificationCenter::Subscription settingsChanged_;
    TaskScope tasks_;
};

}  // namespace quillet
