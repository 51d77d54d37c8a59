#include "app/ControlServer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <asio/buffer.hpp>
#include <asio/experimental/as_tuple.hpp>
#include <asio/experimental/awaitable_operators.hpp>
#include <asio/read_until.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;

constexpr std::chrono::milliseconds pauseAfterFault{100};
constexpr auto asTuple = asio::experimental::as_tuple(asio::use_awaitable);

}  // namespace

/// A reply that is to be sent before the server closes.
struct ControlServer::Answer {
    std::optional<std::string> reply;
    std::optional<InFlight::Token> sending;
};

ControlServer::ControlServer(JsonRpcDispatcher& dispatcher, Loop& loop, Scheduler& scheduler,
                             Log log)
    : dispatcher_(dispatcher),
      loop_(loop),
      scheduler_(scheduler),
      log_(std::move(log)),
      tasks_(loop) {}

ControlServer::~ControlServer() {
    close();
}

void ControlServer::close() {
    // The command that asked for the end still hears the reply.
    while (!sending_.isIdle())
        loop_.waitAndDrainOne();
    tasks_.cancelAndJoin();
    if (!acceptor_)
        return;
    acceptor_.reset();
    std::error_code ec;
    std::filesystem::remove(path_, ec);
}

std::expected<void, ControlServer::Error> ControlServer::listen(
    const std::filesystem::path& socket) {
    std::error_code ec;
    std::filesystem::create_directories(socket.parent_path(), ec);
    lock_ = FileDescriptor(
        ::open((socket.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock_.valid() && ::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0)
        return std::unexpected(Error::anotherIsRunning);
    // With the lock ours, a socket that is still there belongs to nobody.
    std::filesystem::remove(socket, ec);
    try {
        const auto mask = ::umask(0177);
        acceptor_ = std::make_unique<asio::local::stream_protocol::acceptor>(
            loop_.executor(), asio::local::stream_protocol::endpoint(socket.string()));
        ::umask(mask);
    } catch (const std::exception& error) {
        log_.error("The command's socket {} cannot be opened: {}", socket.string(), error.what());
        return std::unexpected(Error::cannotListen);
    }
    path_ = socket;
    tasks_.spawn(accept());
    return {};
}

asio::awaitable<void> ControlServer::accept() {
    bool isShort = false;
    while (true) {
        auto [error, socket] = co_await acceptor_->async_accept(asTuple);
        if (!error) {
            isShort = false;
            tasks_.spawn(serve(std::move(socket)));
        } else if (error == asio::error::operation_aborted) {
            co_return;
        } else {
            // Most likely no descriptor is left for now: the command must find the door open later.
            if (!std::exchange(isShort, true))
                log_.error("The command could not be let in: {}", error.message());
            co_await scheduler_.sleep(pauseAfterFault);
        }
    }
}

/// Waits until the other side has closed the connection; one that only sends no more still listens.
asio::awaitable<void> ControlServer::hungUp(Socket& socket) {
    co_await socket.async_wait(Socket::wait_error, asTuple);
}

asio::awaitable<ControlServer::Answer> ControlServer::answer(std::string line) {
    auto reply = co_await dispatcher_.handle(std::move(line));
    co_return Answer{std::move(reply), sending_.begin()};
}

asio::awaitable<void> ControlServer::serve(Socket socket) {
    std::string received;
    while (true) {
        const auto [error, length] = co_await asio::async_read_until(
            socket, asio::dynamic_buffer(received, control::longestLine), '\n', asTuple);
        if (error)
            co_return;
        auto line = received.substr(0, length);
        received.erase(0, length);
        // Whoever hangs up does not want the answer any more.
        auto outcome = co_await (answer(std::move(line)) || hungUp(socket));
        if (outcome.index() == 1)
            co_return;
        auto [reply, sending] = std::get<0>(std::move(outcome));
        if (!reply)
            continue;
        *reply += '\n';
        const auto [writeError, written] =
            co_await asio::async_write(socket, asio::buffer(*reply), asTuple);
        if (writeError)
            co_return;
    }
}

}  // namespace quillet
