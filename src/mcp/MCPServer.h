#pragma once

#include <array>
#include <asio/awaitable.hpp>
#include <cstdint>
#include <expected>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "base/async/Event.h"
#include "base/async/InFlight.h"
#include "base/async/IoLoop.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "base/rpc/JsonRpc.h"
#include "mcp/Connection.h"
#include "mcp/Deadlines.h"
#include "mcp/MCPKey.h"
#include "mcp/RequestHead.h"

namespace quillet {

/// Lets the user's own AI clients in: JSON-RPC by HTTP on this machine's loopback address, guarded
/// by a key. A connection lives for one request; a client that closes it gives up its call.
///
/// Everything runs on the thread of `loop`, and all calls belong there.
class MCPServer {
public:
    using Head = RequestHead;

    static constexpr std::uint16_t usualPort = 7865;

    /// What a client may take of time and room.
    struct Limits {
        std::chrono::milliseconds head = std::chrono::seconds(10);
        std::chrono::milliseconds body = std::chrono::seconds(30);
        std::chrono::milliseconds reply =
            std::chrono::seconds(30);  ///< without taking a byte of it
        std::chrono::milliseconds linger = std::chrono::seconds(2);
        int connections = 1024;
    };
    struct Services {
        IoLoop& loop;
        Scheduler& scheduler;    ///< of that loop
        JsonRpcDispatcher& rpc;  ///< what is offered; its methods run on that loop
        Loop& main;              ///< where the key is read
        MCPKey& key;
        Log log;
    };
    using Listening = std::expected<void, std::string>;  ///< the error is a sentence for the user

    explicit MCPServer(Services services) : MCPServer(std::move(services), usualPort, Limits{}) {}
    /// Port 0: one that is free.
    MCPServer(Services services, std::uint16_t port, Limits limits);
    /// Listens no more and serves nobody: `setEnabled(false)` has been awaited.
    ~MCPServer();
    MCPServer(const MCPServer&) = delete;
    MCPServer& operator=(const MCPServer&) = delete;

    /// Begins to listen, or ends it and every call with it. Nothing changes where it is so already.
    [[nodiscard]] asio::awaitable<Listening> setEnabled(bool on);

    [[nodiscard]] bool isListening() const { return listener_.has_value(); }
    /// Why it does not listen though it should; a sentence for the user, or nothing.
    [[nodiscard]] const std::string& problem() const { return problem_; }
    [[nodiscard]] std::uint16_t port() const { return port_; }
    /// Where clients find it.
    [[nodiscard]] static std::string url(std::uint16_t port);
    /// The line for a shell that registers this server with a client.
    [[nodiscard]] static std::string setupCommand(std::string_view key);

private:
    struct Reply {
        std::string_view status;
        std::string body;
        bool isEarly = false;  ///< part of the request may not have been read
    };
    enum class NoBody { gone, invalid };
    using Body = std::expected<std::string, NoBody>;
    struct Message;
    struct Call;

    [[nodiscard]] Listening listen();
    asio::awaitable<void> accept();
    asio::awaitable<bool> acceptOne();
    asio::awaitable<void> serve(FileDescriptor socket);
    std::optional<Message> wholeRequest(std::string_view received) const;
    std::optional<Reply> replyAtOnce(const Message& message) const;
    asio::awaitable<std::optional<Reply>> replyTo(Connection& connection, std::string received);
    asio::awaitable<std::optional<std::size_t>> receiveHead(Connection& connection,
                                                            std::string& received);
    asio::awaitable<std::optional<std::string_view>> refusal(const Head& head);
    asio::awaitable<bool> isStoredKey(std::string_view offered);
    asio::awaitable<Body> receiveBody(Connection& connection, std::string received,
                                      std::size_t length);
    asio::awaitable<Body> receiveChunks(Connection& connection, std::string_view received);
    asio::awaitable<std::optional<Reply>> answer(Connection& connection, Message message);
    asio::awaitable<Message> parse(std::string body);
    asio::awaitable<void> run(std::shared_ptr<Call> call);

    Services services_;
    std::uint16_t port_;
    Limits limits_;
    std::array<char, 65'536> buffer_{};
    Deadlines deadlines_;
    std::optional<asio::posix::stream_descriptor> listener_;
    int connections_ = 0;
    Event room_;                           // set when a connection has gone
    std::unique_ptr<SerialQueue> parser_;  // made for the first large message
    InFlight switching_;
    bool wanted_ = false;
    std::string problem_;
    bool isShort_ = false;  // of descriptors, and it was told
    TaskHandle watch_;
    TaskScope tasks_;
};

}  // namespace quillet
