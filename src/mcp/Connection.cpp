#include "mcp/Connection.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <asio/experimental/as_tuple.hpp>
#include <asio/use_awaitable.hpp>
#include <cerrno>

namespace quillet {

namespace {

constexpr auto asTuple = asio::experimental::as_tuple(asio::use_awaitable);

bool wouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

/// So much of a request that was answered early is taken: more than any that is good has.
constexpr std::size_t mostLeftOut = 2UL << 20;

iovec pieceOf(std::string_view bytes) {
    // The system only reads from it.
    return {const_cast<char*>(bytes.data()), bytes.size()};
}

/// How many bytes were sent of both, or an error as `send` gives it.
ssize_t sendBoth(int socket, std::string_view head, std::string_view body) {
    std::array pieces = {pieceOf(head), pieceOf(body)};
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    return ::sendmsg(socket, &message, MSG_NOSIGNAL);
}

/// Takes what was sent off the front.
void drop(std::size_t sent, std::string_view& head, std::string_view& body) {
    const auto ofHead = std::min(sent, head.size());
    head.remove_prefix(ofHead);
    body.remove_prefix(sent - ofHead);
}

}  // namespace

Connection::~Connection() {
    if (waiting_)
        (void)waiting_->release();
}

asio::awaitable<bool> Connection::ready(Wait wait) {
    if (!waiting_)
        waiting_.emplace(services_.io, socket_.get());
    const auto [error] = co_await waiting_->async_wait(wait, asTuple);
    co_return !error;
}

asio::awaitable<bool> Connection::ready(Wait wait, TimePoint deadline) {
    bool isLate = false;
    const auto guard = services_.deadlines.at(deadline, [this, &isLate] {
        isLate = true;
        if (waiting_)
            waiting_->cancel();
    });
    const bool isReady = co_await ready(wait);
    co_return isReady && !isLate;
}

std::string_view Connection::receiveAtOnce() {
    const auto buffer = services_.buffer;
    const auto count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

asio::awaitable<std::string_view> Connection::receive(TimePoint deadline) {
    const auto buffer = services_.buffer;
    // A client that always has more to send is late as well.
    while (services_.deadlines.now() < deadline) {
        const auto count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
        if (count >= 0)
            co_return std::string_view(buffer.data(), static_cast<std::size_t>(count));
        if (errno == EINTR)
            continue;
        if (!wouldBlock() || !co_await ready(Wait::wait_read, deadline))
            break;
    }
    co_return std::string_view();
}

asio::awaitable<void> Connection::closed() {
    isWatched_ = true;
    const auto buffer = services_.buffer;
    while (isWatched_ && co_await ready(Wait::wait_read) && isWatched_) {
        const auto count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
        if (count == 0 || (count < 0 && !wouldBlock()))
            break;
    }
    isWatched_ = false;
}

void Connection::stopWatching() {
    if (std::exchange(isWatched_, false) && waiting_)
        waiting_->cancel();
}

asio::awaitable<bool> Connection::send(std::string_view head, std::string_view body,
                                       Scheduler::Duration pause) {
    while (!head.empty() || !body.empty()) {
        const auto count = sendBoth(socket_.get(), head, body);
        if (count >= 0)
            drop(static_cast<std::size_t>(count), head, body);
        else if (errno != EINTR &&
                 (!wouldBlock() ||
                  !co_await ready(Wait::wait_write, services_.deadlines.now() + pause)))
            co_return false;
    }
    co_return true;
}

asio::awaitable<void> Connection::linger(TimePoint deadline) {
    ::shutdown(socket_.get(), SHUT_WR);
    const auto buffer = services_.buffer;
    // Others have their turn between any two looks, however fast this client sends.
    for (std::size_t left = mostLeftOut; left > 0 && co_await ready(Wait::wait_read, deadline);) {
        const auto count = ::recv(socket_.get(), buffer.data(), std::min(buffer.size(), left), 0);
        if (count == 0 || (count < 0 && !wouldBlock()))
            co_return;
        left -= static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
}

}  // namespace quillet
