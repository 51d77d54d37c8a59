#include "mcp/MCPServer.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <asio/use_awaitable.hpp>
#include <nlohmann/json.hpp>
#include <system_error>

#include "base/async/OnLoop.h"
#include "base/http/Url.h"
#include "mcp/ChunkedBody.h"

namespace quillet {

namespace {

using nlohmann::json;

namespace status {
constexpr std::string_view ok = "200 OK";
constexpr std::string_view accepted = "202 Accepted";
constexpr std::string_view badRequest = "400 Bad Request";
constexpr std::string_view unauthorized = "401 Unauthorized";
constexpr std::string_view forbidden = "403 Forbidden";
constexpr std::string_view notFound = "404 Not Found";
constexpr std::string_view methodNotAllowed = "405 Method Not Allowed";
}  // namespace status

constexpr std::string_view bearer = "Bearer ";
/// Connections that are taken at a time, before those that are open have their turn.
constexpr int acceptedAtATime = 16;
/// A longer message is read away from the queue, which it would hold up.
constexpr std::size_t quicklyParsed = 32'768;
/// A call that ends sooner is not watched for its client to go.
constexpr std::chrono::milliseconds soonOver{20};
/// How long nobody is let in when the system has no descriptor left.
constexpr std::chrono::milliseconds shortOfDescriptors{100};

bool isOurPath(std::string_view target) {
    const auto path = target.substr(0, target.find('?'));
    return path == "/mcp" || path == "/mcp/";
}

/// A page of a browser says where it comes from; only pages of this machine may ask.
bool isOfThisMachine(std::string_view origin) {
    const auto host = hostOf(origin);
    return host == "localhost" || host == "127.0.0.1" || host == "[::1]";
}

/// The key that a client shows; none where it shows none.
std::optional<std::string_view> keyOf(const RequestHead& head) {
    auto authorization = head.header("authorization");
    if (!authorization || !authorization->starts_with(bearer))
        return std::nullopt;
    authorization->remove_prefix(bearer.size());
    return authorization;
}

bool isServedMethod(std::string_view method) {
    return method == "POST" || method == "DELETE";
}

std::string headOf(std::string_view status, std::size_t bodySize) {
    constexpr std::size_t usualRoom = 160;
    std::string head;
    head.reserve(usualRoom);
    head += "HTTP/1.1 ";
    head.append(status).append("\r\nContent-Length: ").append(std::to_string(bodySize));
    head += "\r\nConnection: close\r\n";
    if (bodySize > 0)
        head += "Content-Type: application/json\r\n";
    if (status == status::unauthorized)
        head += "WWW-Authenticate: Bearer\r\n";
    if (status == status::methodNotAllowed)
        head += "Allow: POST, DELETE\r\n";
    head += "\r\n";
    return head;
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// A socket that listens there; invalid, with the reason in errno, when that cannot be had.
FileDescriptor listeningSocket(std::uint16_t port) {
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int yes = 1;
    // Connections of an earlier run that are still fading away must not keep the port.
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const auto address = loopback(port);
    const bool listens =
        ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(socket.get(), SOMAXCONN) == 0;
    if (listens)
        return socket;
    const int reason = errno;
    socket.close();
    errno = reason;
    return {};
}

std::uint16_t portOf(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

bool isTheClientsFault(int error) {
    return error == ECONNABORTED || error == EINTR || error == EPROTO || error == EPERM;
}

bool isShortOfSomething(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

/// A request, or the reply that says what is wrong with it.
struct MCPServer::Message {
    std::expected<json, std::string> content;
    SerialQueue* origin = nullptr;  ///< where the values of a large one are let go of, as that
                                    ///< takes as long as reading them

    explicit Message(std::expected<json, std::string> read, SerialQueue* queue = nullptr)
        : content(std::move(read)), origin(queue) {}
    ~Message() {
        if (origin != nullptr)
            origin->post([content = std::move(content)] {});
    }
    Message(Message&& other) noexcept
        : content(std::move(other.content)), origin(std::exchange(other.origin, nullptr)) {}
    Message& operator=(Message&&) = delete;
};

/// A message while it is answered.
struct MCPServer::Call {
    Message message;
    std::optional<std::string> reply;
    bool isOver = false;
    Event overOrLong;               // it has ended, or it takes long enough to be watched
    Connection* watched = nullptr;  // as long as somebody watches for the client to go

    /// Lets go of the connection when nobody waits any more.
    struct Watch {
        Call& call;
        Watch(Call& watchedCall, Connection& connection) : call(watchedCall) {
            call.watched = &connection;
        }
        ~Watch() { call.watched = nullptr; }
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;
    };
    /// Ends the call, however it ends.
    struct End {
        Call& call;
        explicit End(Call& ending) : call(ending) {}
        ~End() {
            call.isOver = true;
            call.overOrLong.set();
            if (call.watched != nullptr)
                call.watched->stopWatching();
        }
        End(const End&) = delete;
        End& operator=(const End&) = delete;
    };
};

MCPServer::MCPServer(Services services, std::uint16_t port, Limits limits)
    : services_(std::move(services)),
      port_(port),
      limits_(limits),
      deadlines_(services_.scheduler),
      tasks_(services_.loop, [log = services_.log](std::string_view what) {
          log.error("MCP server: a call ended by a fault: {}", what);
      }) {}

MCPServer::~MCPServer() = default;

std::string MCPServer::url(std::uint16_t port) {
    return fmt::format("http://127.0.0.1:{}/mcp", port);
}

std::string MCPServer::setupCommand(std::string_view key) {
    return fmt::format(
        "claude mcp add --scope user --transport http quillet {} --header \"Authorization: {}{}\"",
        url(usualPort), bearer, key);
}

asio::awaitable<MCPServer::Listening> MCPServer::setEnabled(bool on) {
    // Whoever has the turn does what was wanted last.
    wanted_ = on;
    co_await switching_.settled();
    const auto turn = switching_.begin();
    if (wanted_)
        co_return isListening() ? Listening() : listen();
    problem_.clear();
    const bool wasListening = isListening();
    co_await tasks_.cancelAndSettle();
    listener_.reset();  // after those who wait for it
    if (wasListening)
        services_.log.info("MCP server stopped");
    co_return Listening();
}

MCPServer::Listening MCPServer::listen() {
    auto socket = listeningSocket(port_);
    if (!socket.valid()) {
        const auto reason = std::system_category().message(errno);
        services_.log.error("MCP server: cannot listen on {}", port_);
        problem_ = fmt::format(
            "The port {} cannot be used ({}). Another program, or Quillet of another user, may "
            "have it; end that and switch this on again.",
            port_, reason);
        return std::unexpected(problem_);
    }
    port_ = portOf(socket.get());
    listener_.emplace(services_.loop.io(), socket.release());
    problem_.clear();
    services_.log.info("MCP server on {}", url(port_));
    if (!watch_.running())
        watch_ = tasks_.spawn(deadlines_.watch());
    tasks_.spawn(accept());
    return {};
}

asio::awaitable<void> MCPServer::accept() {
    while (true) {
        int taken = 0;
        while (taken < acceptedAtATime && co_await acceptOne())
            ++taken;
        if (!listener_)
            co_return;
        co_await listener_->async_wait(asio::posix::descriptor_base::wait_read,
                                       asio::use_awaitable);
    }
}

/// Lets one client in. False when nobody waits at the door, or it is closed for good.
asio::awaitable<bool> MCPServer::acceptOne() {
    while (connections_ >= limits_.connections) {
        room_.reset();
        co_await room_.wait();
    }
    FileDescriptor socket(
        ::accept4(listener_->native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (socket.valid()) {
        isShort_ = false;
        tasks_.spawn(serve(std::move(socket)));
        co_return true;
    }
    const int error = errno;
    if (error == EAGAIN || error == EWOULDBLOCK)
        co_return false;
    if (isTheClientsFault(error))
        co_return true;
    const auto reason = std::system_category().message(error);
    if (isShortOfSomething(error)) {
        if (!std::exchange(isShort_, true))
            services_.log.error("MCP server: nobody is let in for now ({})", reason);
        co_await services_.scheduler.sleep(shortOfDescriptors);
        co_return true;
    }
    services_.log.error("MCP server failed: {}", reason);
    problem_ = fmt::format("It failed ({}). Switch it off and on again.", reason);
    listener_.reset();
    co_return false;
}

asio::awaitable<void> MCPServer::serve(FileDescriptor socket) {
    struct Counted {
        MCPServer& server;
        explicit Counted(MCPServer& counting) : server(counting) { ++server.connections_; }
        ~Counted() {
            --server.connections_;
            server.room_.set();
        }
        Counted(const Counted&) = delete;
        Counted& operator=(const Counted&) = delete;
    };
    const Counted counted(*this);
    Connection connection({services_.loop.io(), deadlines_, buffer_}, std::move(socket));
    // Most requests come in one piece, and many need nothing that takes time.
    const auto received = connection.receiveAtOnce();
    auto message = wholeRequest(received);
    auto reply = message ? replyAtOnce(*message) : std::nullopt;
    if (!reply)
        reply = message ? co_await answer(connection, std::move(*message))
                        : co_await replyTo(connection, std::string(received));
    if (!reply)
        co_return;
    const auto head = headOf(reply->status, reply->body.size());
    if (co_await connection.send(head, reply->body, limits_.reply) && reply->isEarly)
        co_await connection.linger(deadlines_.now() + limits_.linger);
}

/// The message of a client that may ask, when it is short and all of it has come.
std::optional<MCPServer::Message> MCPServer::wholeRequest(std::string_view received) const {
    const auto bodyStart = endOfHead(received);
    if (!bodyStart || *bodyStart > Head::longestHead || received.size() > quicklyParsed)
        return std::nullopt;
    const auto head = parseHead(received.substr(0, *bodyStart));
    const auto body = received.substr(*bodyStart);
    if (!head || head->method != "POST" || head->isChunked || body.empty() ||
        body.size() != head->contentLength || !isOurPath(head->path))
        return std::nullopt;
    const auto origin = head->header("origin");
    const auto offered = keyOf(*head);
    const auto key = services_.key.cached();
    if ((origin && !isOfThisMachine(*origin)) || !offered || !key || !isSameSecret(*offered, *key))
        return std::nullopt;
    return Message(JsonRpcDispatcher::parse(body));
}

/// None when something has to run first.
std::optional<MCPServer::Reply> MCPServer::replyAtOnce(const Message& message) const {
    const auto& request = message.content;
    if (!request)
        return Reply{status::badRequest, request.error()};
    if (!request->contains("id"))
        return Reply{status::accepted, {}};
    if (auto reply = services_.rpc.answerAtOnce(*request))
        return Reply{status::ok, std::move(*reply)};
    return std::nullopt;
}

/// None when the connection is closed without one.
asio::awaitable<std::optional<MCPServer::Reply>> MCPServer::replyTo(Connection& connection,
                                                                    std::string received) {
    const auto bodyStart = co_await receiveHead(connection, received);
    if (!bodyStart)
        co_return std::nullopt;
    const auto head = parseHead(std::string_view(received).substr(0, *bodyStart));
    if (!head)
        co_return Reply{status::badRequest, {}, true};
    if (const auto refused = co_await refusal(*head)) {
        const bool hasBodyToCome =
            head->isChunked || received.size() < *bodyStart + head->contentLength;
        co_return Reply{*refused, {}, hasBodyToCome};
    }
    const bool endsSession = head->method == "DELETE";
    const bool isChunked = head->isChunked;
    const auto length = head->contentLength;
    received.erase(0, *bodyStart);  // and with it what the head refers to
    auto body = isChunked ? co_await receiveChunks(connection, received)
                          : co_await receiveBody(connection, std::move(received), length);
    if (!body)
        co_return body.error() == NoBody::gone ? std::nullopt
                                               : std::optional(Reply{status::badRequest, {}, true});
    if (endsSession || body->empty())
        co_return Reply{status::ok, {}};
    auto message = co_await parse(std::move(*body));
    if (auto reply = replyAtOnce(message))
        co_return reply;
    co_return co_await answer(connection, std::move(message));
}

/// Where the body begins in what was received; none when no head came that can be answered.
asio::awaitable<std::optional<std::size_t>> MCPServer::receiveHead(Connection& connection,
                                                                   std::string& received) {
    const auto deadline = deadlines_.now() + limits_.head;
    while (true) {
        const auto end = endOfHead(received);
        if (end.value_or(received.size()) > Head::longestHead)
            co_return std::nullopt;
        if (end)
            co_return end;
        const auto bytes = co_await connection.receive(deadline);
        if (bytes.empty())
            co_return std::nullopt;
        received += bytes;
    }
}

/// The status of a request that is not to be answered; none when it is.
asio::awaitable<std::optional<std::string_view>> MCPServer::refusal(const Head& head) {
    if (!isOurPath(head.path))
        co_return status::notFound;
    const auto origin = head.header("origin");
    if (origin && !isOfThisMachine(*origin))
        co_return status::forbidden;
    const auto key = keyOf(head);
    if (!key)
        co_return status::unauthorized;
    const auto expected = services_.key.cached();
    if (!(expected ? isSameSecret(*key, *expected) : co_await isStoredKey(*key)))
        co_return status::unauthorized;
    if (!isServedMethod(head.method))
        co_return status::methodNotAllowed;
    co_return std::nullopt;
}

asio::awaitable<bool> MCPServer::isStoredKey(std::string_view offered) {
    if (!MCPKey::isKeyLike(offered))
        co_return false;  // and the keychain is left alone
    const auto key = co_await onLoop(services_.main, services_.key.read());
    co_return key&& isSameSecret(offered, *key);
}

asio::awaitable<MCPServer::Body> MCPServer::receiveBody(Connection& connection,
                                                        std::string received, std::size_t length) {
    const auto deadline = deadlines_.now() + limits_.body;
    while (received.size() < length) {
        const auto bytes = co_await connection.receive(deadline);
        if (bytes.empty())
            co_return std::unexpected(NoBody::gone);
        received += bytes;
    }
    received.resize(length);
    co_return received;
}

asio::awaitable<MCPServer::Body> MCPServer::receiveChunks(Connection& connection,
                                                          std::string_view received) {
    const auto deadline = deadlines_.now() + limits_.body;
    ChunkedBody chunks(Head::longestBody);
    auto state = chunks.take(received);
    while (state == ChunkedBody::State::unfinished) {
        const auto bytes = co_await connection.receive(deadline);
        if (bytes.empty())
            co_return std::unexpected(NoBody::gone);
        state = chunks.take(bytes);
    }
    if (state == ChunkedBody::State::invalid)
        co_return std::unexpected(NoBody::invalid);
    co_return std::move(chunks.body());
}

asio::awaitable<std::optional<MCPServer::Reply>> MCPServer::answer(Connection& connection,
                                                                   Message message) {
    const auto call = std::make_shared<Call>(std::move(message));
    const auto task = tasks_.spawn(run(call));
    if (!call->isOver) {
        const auto guard =
            deadlines_.at(deadlines_.now() + soonOver, [&call = *call] { call.overOrLong.set(); });
        co_await call->overOrLong.wait();
    }
    if (!call->isOver) {
        const Call::Watch watch(*call, connection);
        co_await connection.closed();
        if (!call->isOver) {
            task.cancel();
            co_return std::nullopt;
        }
    }
    if (!call->reply)
        co_return std::nullopt;
    co_return Reply{status::ok, std::move(*call->reply)};
}

asio::awaitable<MCPServer::Message> MCPServer::parse(std::string body) {
    if (body.size() <= quicklyParsed)
        co_return Message(JsonRpcDispatcher::parse(body));
    if (!parser_)
        parser_ = std::make_unique<SerialQueue>("mcp messages");
    auto work = [body = std::move(body), queue = parser_.get()] {
        return Message(JsonRpcDispatcher::parse(body), queue);
    };
    co_return co_await parser_->run(std::move(work));
}

asio::awaitable<void> MCPServer::run(std::shared_ptr<Call> call) {
    const Call::End end(*call);
    call->reply = co_await services_.rpc.answer(*call->message.content);
}

}  // namespace quillet
