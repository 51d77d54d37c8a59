#pragma once

#include <asio/awaitable.hpp>
#include <asio/local/stream_protocol.hpp>
#include <expected>
#include <filesystem>
#include <memory>
#include <string>

#include "base/async/InFlight.h"
#include "base/async/Loop.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/file/FileDescriptor.h"
#include "base/log/Log.h"
#include "base/rpc/JsonRpc.h"

namespace quillet {

/// The door for the `quillet` command: JSON-RPC over a Unix socket, and with it the proof that only
/// one copy of the application runs. Belongs to the main queue's thread.
class ControlServer {
public:
    enum class Error { anotherIsRunning, cannotListen };

    ControlServer(JsonRpcDispatcher& dispatcher, Loop& loop, Scheduler& scheduler, Log log);
    ~ControlServer();

    /// Takes the socket's place, unless another copy holds it.
    [[nodiscard]] std::expected<void, Error> listen(const std::filesystem::path& socket);

    /// Sends the replies that are ready and answers no more. Before what the methods refer to goes
    /// away.
    void close();

private:
    using Socket = asio::local::stream_protocol::socket;

    asio::awaitable<void> accept();
    asio::awaitable<void> serve(Socket socket);
    struct Answer;
    asio::awaitable<Answer> answer(std::string line);
    static asio::awaitable<void> hungUp(Socket& socket);

    JsonRpcDispatcher& dispatcher_;
    Loop& loop_;
    Scheduler& scheduler_;
    Log log_;
    FileDescriptor lock_;  // held as long as this copy runs
    std::filesystem::path path_;
    std::unique_ptr<asio::local::stream_protocol::acceptor> acceptor_;
    InFlight sending_;
    TaskScope tasks_;
};

}  // namespace quillet
