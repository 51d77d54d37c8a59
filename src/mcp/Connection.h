#pragma once

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/file/FileDescriptor.h"
#include "mcp/Deadlines.h"

namespace quillet {

/// A client's connection: bytes in, bytes out, each within a time limit. Closed when this goes.
/// Belongs to the thread of the server's queue.
class Connection {
public:
    using TimePoint = Scheduler::TimePoint;

    struct Services {
        asio::io_context& io;
        Deadlines& deadlines;
        std::span<char> buffer;  ///< for what is received at a time; shared by all connections
    };

    /// Takes a connected socket that does not block.
    Connection(Services services, FileDescriptor socket)
        : services_(services), socket_(std::move(socket)) {}
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// What is received next, which holds until the next suspension; empty when the client has
    /// closed its side, the connection failed, or nothing came until `deadline`.
    [[nodiscard]] asio::awaitable<std::string_view> receive(TimePoint deadline);

    /// What has come already, which holds until the next suspension; empty when there is nothing.
    [[nodiscard]] std::string_view receiveAtOnce();

    /// Waits until the client has closed its side or the connection failed, leaving out what it
    /// still sends. Also returns after `stopWatching`.
    [[nodiscard]] asio::awaitable<void> closed();
    void stopWatching();

    /// Sends all of both; false when the connection failed, or the client took nothing for `pause`.
    [[nodiscard]] asio::awaitable<bool> send(std::string_view head, std::string_view body,
                                             Scheduler::Duration pause);

    /// Says that nothing more is sent, and takes what the client still sends: a connection that is
    /// closed with bytes unread loses the reply on its way.
    [[nodiscard]] asio::awaitable<void> linger(TimePoint deadline);

private:
    using Wait = asio::posix::stream_descriptor::wait_type;

    /// False when it was not ready by the deadline.
    asio::awaitable<bool> ready(Wait wait, TimePoint deadline);
    asio::awaitable<bool> ready(Wait wait);

    Services services_;
    FileDescriptor socket_;
    // Made when something is waited for, which a quick request never does. Does not own the socket.
    std::optional<asio::posix::stream_descriptor> waiting_;
    bool isWatched_ = false;
};

}  // namespace quillet
