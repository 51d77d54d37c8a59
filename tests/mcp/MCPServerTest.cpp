#include "mcp/MCPServer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <asio/co_spawn.hpp>
#include <asio/use_future.hpp>
#include <future>
#include <nlohmann/json.hpp>
#include <random>

#include "base/async/Event.h"
#include "platform/linux/SteadyScheduler.h"
#include "world/ScriptedServices.h"
#include "world/SimLoop.h"

namespace quillet::world {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;

/// A client's blocking socket.
class Client {
public:
    explicit Client(std::uint16_t port)
        : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        isConnected_ = ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
                                 sizeof address) == 0;
        // A reply that never comes must not hang the test.
        const timeval patience{.tv_sec = 20, .tv_usec = 0};
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }

    [[nodiscard]] bool isConnected() const { return isConnected_; }
    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                return;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
    void endSending() const { ::shutdown(socket_.get(), SHUT_WR); }
    /// What is received until the server closes; "timeout" when it does not.
    [[nodiscard]] std::string reply() const {
        std::string received;
        std::array<char, 65'536> buffer{};
        while (true) {
            const auto count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
            if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return "timeout";
            if (count <= 0)
                return received;
            received.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }

private:
    FileDescriptor socket_;
    bool isConnected_ = false;
};

struct Answer {
    std::string status;  ///< the first line without "HTTP/1.1 "; empty without a reply
    std::string head;
    std::string body;
};

Answer read(const std::string& reply) {
    constexpr std::string_view start = "HTTP/1.1 ";
    if (!reply.starts_with(start))
        return {reply, {}, {}};
    const auto end = reply.find("\r\n\r\n");
    return {reply.substr(start.size(), reply.find("\r\n") - start.size()), reply.substr(0, end + 4),
            reply.substr(end + 4)};
}

class MCPServerTest : public ::testing::Test {
protected:
    explicit MCPServerTest(MCPServer::Limits limits = {}) : server(services(), 0, limits) {
        rpc.add("ping", [](const json&) -> asio::awaitable<JsonRpcDispatcher::Result> {
            co_return json::object();
        });
        rpc.add("wait", [this](const json&) { return wait(); });
        rpc.add("large", [](const json&) -> asio::awaitable<JsonRpcDispatcher::Result> {
            co_return std::string(8'000'000, 'x');
        });
        key = *on(main, mcpKey.read());
        EXPECT_TRUE(on(loop, server.setEnabled(true)));
    }
    ~MCPServerTest() override { (void)on(loop, server.setEnabled(false)); }

    MCPServer::Services services() {
        return {loop, scheduler, rpc, main, mcpKey, Log(makeNullLogSink(), Log::PrivateText::hide)};
    }

    template <class T>
    static T on(IoLoop& where, asio::awaitable<T> task) {
        return asio::co_spawn(where.executor(), std::move(task), asio::use_future).get();
    }

    /// A call that ends only by being cancelled.
    asio::awaitable<JsonRpcDispatcher::Result> wait() {
        struct Cancelled {
            MCPServerTest& test;
            ~Cancelled() { test.cancelled.set_value(); }
        };
        const Cancelled noted{*this};
        waiting.set_value();
        Event never;
        co_await never.wait();
        co_return json();
    }

    std::string post(std::string_view body, std::string_view headers = {}) const {
        return request("POST /mcp HTTP/1.1",
                       fmt::format("Content-Length: {}\r\n{}", body.size(), headers), body);
    }
    std::string request(std::string_view line, std::string_view headers,
                        std::string_view body = {}) const {
        return fmt::format("{}\r\nAuthorization: Bearer {}\r\n{}\r\n{}", line, key, headers, body);
    }
    [[nodiscard]] Answer exchange(std::string_view bytes) const {
        const Client client(server.port());
        client.send(bytes);
        return read(client.reply());
    }

    SimIds ids;
    ScriptedKeychain keychain;
    MCPKey mcpKey{keychain, ids};
    std::string key;
    std::promise<void> waiting;
    std::promise<void> cancelled;
    JsonRpcDispatcher rpc;
    IoLoop main{"main"};
    IoLoop loop{"mcp"};
    SteadyScheduler scheduler{loop};
    MCPServer server;
};

constexpr std::string_view ping = R"({"jsonrpc":"2.0","id":7,"method":"ping"})";

TEST_F(MCPServerTest, AnswersInTheOrderOfItsChecks) {
    EXPECT_EQ(exchange(post(ping)).head,
              "HTTP/1.1 200 OK\r\nContent-Length: 36\r\nConnection: close\r\n"
              "Content-Type: application/json\r\n\r\n");
    EXPECT_EQ(exchange(post(ping)).body, R"({"jsonrpc":"2.0","id":7,"result":{}})");
    EXPECT_EQ(exchange(request("DELETE /mcp/ HTTP/1.1", "")).head,
              "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(exchange(request("POST /mcp?a=b HTTP/1.1", "")).status, "200 OK");
    EXPECT_EQ(exchange(post(R"({"jsonrpc":"2.0","method":"wait"})")).status, "202 Accepted");

    const auto wrong = [&](std::string_view line, std::string_view headers) {
        return exchange(fmt::format("{}\r\nAuthorization: Bearer wrong\r\n{}\r\n", line, headers));
    };
    EXPECT_EQ(wrong("POST /mcp/x HTTP/1.1", "Origin: http://evil.example\r\n").status,
              "404 Not Found");
    EXPECT_EQ(wrong("GET /mcp HTTP/1.1", "Origin: http://evil.example\r\n").status,
              "403 Forbidden");
    EXPECT_EQ(wrong("GET /mcp HTTP/1.1", "").head,
              "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\nConnection: close\r\n"
              "WWW-Authenticate: Bearer\r\n\r\n");
    EXPECT_EQ(exchange(request("GET /mcp HTTP/1.1", "")).head,
              "HTTP/1.1 405 Method Not Allowed\r\nContent-Length: 0\r\nConnection: close\r\n"
              "Allow: POST, DELETE\r\n\r\n");

    const auto code = [&](std::string_view body) {
        const auto answer = exchange(post(body));
        EXPECT_EQ(answer.status, "400 Bad Request");
        return json::parse(answer.body)["error"]["code"].get<int>();
    };
    EXPECT_EQ(code("[]"), -32600);
    EXPECT_EQ(code("{"), -32700);
    EXPECT_EQ(code(std::string(100'000, '[')), -32700);
}

TEST_F(MCPServerTest, LetsInOnlyPagesOfThisMachineAndTheWholeKey) {
    const auto from = [&](std::string_view origin) {
        return exchange(post(ping, fmt::format("Origin: {}\r\n", origin))).status;
    };
    for (const auto* origin :
         {"http://localhost", "https://127.0.0.1:8443", "http://[::1]:1", "app://LOCALHOST"})
        EXPECT_EQ(from(origin), "200 OK") << origin;
    for (const auto* origin :
         {"null", "", "http://localhost.evil.example", "http://127.0.0.1.evil.example",
          "http://localhost@evil.example", "http://evil.example/localhost", "localhost",
          "http://127.0.0.2", "http://quillet.evil.example:7865"})
        EXPECT_EQ(from(origin), "403 Forbidden") << origin;
    // A name that was made to point here is let in by nothing but the key.
    EXPECT_EQ(exchange(post(ping, "Host: evil.example\r\n")).status, "200 OK");

    const auto with = [&](std::string_view authorization) {
        return exchange(fmt::format("POST /mcp HTTP/1.1\r\n{}\r\n", authorization)).status;
    };
    EXPECT_EQ(with(fmt::format("AUTHORIZATION:Bearer {} \r\n", key)), "200 OK");
    auto other = key;
    other.back() = other.back() == '0' ? '1' : '0';
    for (const auto& value :
         {"bearer " + key, "Bearer  " + key, "Basic " + key, key, std::string("Bearer "),
          std::string("Bearer"), "Bearer " + key.substr(0, key.size() - 1), "Bearer " + key + "0",
          "Bearer " + other, "Bearer " + key + ", Bearer x"})
        EXPECT_EQ(with(fmt::format("Authorization: {}\r\n", value)), "401 Unauthorized") << value;
    EXPECT_EQ(with(fmt::format("Authorization: Bearer x\r\nAuthorization: Bearer {}\r\n", key)),
              "401 Unauthorized")
        << "the first one stands";
    EXPECT_EQ(with(""), "401 Unauthorized");
}

TEST_F(MCPServerTest, ReadsABodyByOneLengthOnly) {
    const auto framed = [&](std::string_view headers, std::string_view body) {
        return exchange(request("POST /mcp HTTP/1.1", headers, body)).status;
    };
    const auto size = ping.size();
    EXPECT_EQ(framed(fmt::format("Content-Length: {0}\r\ncontent-length: {0}\r\n", size), ping),
              "200 OK");
    for (const auto* headers :
         {"Content-Length: 40\r\nContent-Length: 41\r\n", "Content-Length: 1048577\r\n",
          "Content-Length: -1\r\n", "Content-Length: +40\r\n", "Content-Length: 40, 40\r\n",
          "Content-Length: 0x28\r\n", "Content-Length:\r\n",
          "Content-Length: 99999999999999999999\r\n",
          "Content-Length: 40\r\nTransfer-Encoding: chunked\r\n",
          "Transfer-Encoding: gzip, chunked\r\n",
          "Transfer-Encoding: chunked\r\nTransfer-Encoding: identity\r\n"})
        EXPECT_EQ(framed(headers, ping), "400 Bad Request") << headers;
    // No length at all: what stands behind the head is nobody's.
    EXPECT_EQ(framed("Content-Length : 40\r\n", ping), "200 OK");
    EXPECT_EQ(framed("X: 1\nContent-Length: 40\r\nno colon\r\n", ping), "200 OK");
    EXPECT_EQ(exchange("\r\n\r\n").status, "400 Bad Request");
    EXPECT_EQ(exchange("POST\r\n\r\n").status, "400 Bad Request");
    EXPECT_EQ(exchange("POST /mcp \xff\r\n\r\n").status, "400 Bad Request");

    constexpr auto* chunked = "Transfer-Encoding: Chunked\r\n";
    const auto hex = fmt::format("{:x}", size - 5);
    EXPECT_EQ(
        framed(chunked, fmt::format("5;ext=\"x\"\r\n{}\r\n{}\r\n{}\r\n0\r\nTrailer: x\r\n\r\n",
                                    ping.substr(0, 5), hex, ping.substr(5))),
        "200 OK");
    EXPECT_EQ(framed(chunked, fmt::format("100000\r\n{:<1048576}\r\n0\r\n\r\n", ping)), "200 OK");
    for (const auto& body :
         {fmt::format("100001\r\n{:<1048577}\r\n0\r\n\r\n", ping), std::string("g\r\n"),
          std::string("-1\r\n"), std::string("\r\n"), std::string("1\n{\n0\n\n"),
          std::string("1\r\nxx\r\n0\r\n\r\n"), std::string(2'000, '0')})
        EXPECT_EQ(framed(chunked, body), "400 Bad Request") << body.substr(0, 20);
}

TEST_F(MCPServerTest, DropsAHeadThatDoesNotEnd) {
    const std::string filler(20'000, 'x');
    EXPECT_EQ(exchange(filler).status, "");
    EXPECT_EQ(exchange(post(ping, "X: " + filler + "\r\n")).status, "") << "though it ends";
    EXPECT_EQ(exchange(post(ping, "X: " + filler.substr(0, 16'000) + "\r\n")).status, "200 OK");
    const Client half(server.port());
    half.send("POST /mcp HT");
    half.endSending();
    EXPECT_EQ(half.reply(), "");
}

TEST_F(MCPServerTest, ToldEarlyAClientStillHearsTheReply) {
    // The server has not read the body when it answers.
    const Client client(server.port());
    client.send("POST /mcp HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n");
    client.send(std::string(1'000'000, ' '));
    EXPECT_EQ(read(client.reply()).status, "401 Unauthorized");
}

TEST_F(MCPServerTest, SendsMoreThanTheSystemTakesAtOnce) {
    const auto answer = exchange(post(R"({"id":1,"method":"large"})"));
    EXPECT_EQ(json::parse(answer.body)["result"].get<std::string>().size(), 8'000'000U);
}

TEST_F(MCPServerTest, EndsTheCallOfAClientThatHangsUp) {
    {
        const Client client(server.port());
        client.send(post(R"({"id":1,"method":"wait"})"));
        waiting.get_future().wait();
        EXPECT_EQ(exchange(post(ping)).status, "200 OK") << "others are served meanwhile";
        client.send("\r\n");  // still there
        client.endSending();
        EXPECT_EQ(client.reply(), "");
    }
    cancelled.get_future().wait();
}

TEST_F(MCPServerTest, SwitchedOffItServesNobodyAndOnAgainAtOnce) {
    const Client client(server.port());
    client.send(post(R"({"id":1,"method":"wait"})"));
    waiting.get_future().wait();
    EXPECT_TRUE(on(loop, server.setEnabled(false)));
    cancelled.get_future().wait();
    EXPECT_EQ(client.reply(), "");
    EXPECT_FALSE(Client(server.port()).isConnected());
    EXPECT_TRUE(on(loop, server.setEnabled(true)));
    EXPECT_EQ(exchange(post(ping)).status, "200 OK");

    // Asked all at once, the last word counts.
    std::vector<std::future<MCPServer::Listening>> asked;
    for (const bool wanted : {false, true, false, true, false})
        asked.push_back(
            asio::co_spawn(loop.executor(), server.setEnabled(wanted), asio::use_future));
    for (auto& one : asked)
        one.wait();
    EXPECT_FALSE(server.isListening());
    EXPECT_TRUE(on(loop, server.setEnabled(true)));

    MCPServer second(services(), server.port(), {});
    EXPECT_FALSE(on(loop, second.setEnabled(true)));
    EXPECT_FALSE(second.isListening());
}

TEST_F(MCPServerTest, AKeyThatCannotBeReadIsNotReplaced) {
    EXPECT_EQ(key.size(), 67U);
    EXPECT_TRUE(key.starts_with("qk_"));
    MCPKey later(keychain, ids);
    keychain.error = Keychain::Error::locked;
    EXPECT_EQ(on(main, later.read()), std::unexpected(Keychain::Error::locked));
    MCPServer locked(
        {loop, scheduler, rpc, main, later, Log(makeNullLogSink(), Log::PrivateText::hide)}, 0, {});
    EXPECT_TRUE(on(loop, locked.setEnabled(true)));
    const Client client(locked.port());
    client.send(post(ping));
    EXPECT_EQ(read(client.reply()).status, "401 Unauthorized");
    EXPECT_TRUE(on(loop, locked.setEnabled(false)));
    keychain.error.reset();
    EXPECT_EQ(on(main, later.read()), key);

    const auto old = key;
    key = *on(main, mcpKey.renew());
    EXPECT_NE(key, old);
    EXPECT_EQ(exchange(post(ping)).status, "200 OK");
    key = old;
    EXPECT_EQ(exchange(post(ping)).status, "401 Unauthorized");
}

TEST_F(MCPServerTest, SurvivesWhatNobodyWouldSend) {
    std::mt19937 random(20'261);
    const auto below = [&](std::size_t end) { return random() % end; };
    constexpr std::string_view marks = "\r\n :{}[]\",\\/0159\t\x00\xff\xc3";
    const std::array seeds = {
        post(ping, "Origin: http://localhost:1\r\nAccept: text/event-stream\r\n"),
        request("POST /mcp HTTP/1.1", "Transfer-Encoding: chunked\r\n",
                fmt::format("{:x}\r\n{}\r\n0\r\n\r\n", ping.size(), ping)),
        post(R"({"jsonrpc":"2.0","id":"a\u00e4","method":"tools/call","params":{"name":"x"}})")};
    for (int i = 0; i < 10'000; ++i) {
        auto bytes = seeds[below(seeds.size())];
        for (auto changes = 1 + below(6); changes > 0; --changes) {
            const auto at = below(bytes.size());
            switch (below(3)) {
                case 0:
                    bytes[at] = marks[below(marks.size())];
                    break;
                case 1:
                    bytes.insert(at, 1 + below(3), marks[below(marks.size())]);
                    break;
                default:
                    bytes.erase(at, 1 + below(20));
                    if (bytes.empty())
                        bytes = "x";
            }
        }
        const Client client(server.port());
        client.send(bytes);
        client.endSending();
        const auto status = read(client.reply()).status;
        ASSERT_TRUE(status.empty() || status.starts_with("20") || status.starts_with("40"))
            << status << "\n"
            << bytes;
    }
    EXPECT_EQ(exchange(post(ping)).status, "200 OK");
}

class HastyServerTest : public MCPServerTest {
protected:
    HastyServerTest()
        : MCPServerTest(
              {.head = 150ms, .body = 150ms, .reply = 150ms, .linger = 50ms, .connections = 3}) {}
};

TEST_F(HastyServerTest, DropsTheSlowAndTheSilent) {
    const Client silent(server.port());
    const Client slow(server.port());
    slow.send(post(ping).substr(0, 30));
    EXPECT_EQ(silent.reply(), "");
    EXPECT_EQ(slow.reply(), "");
    const Client lacksItsBody(server.port());
    lacksItsBody.send(post(std::string(100, ' ')).substr(0, 150));
    EXPECT_EQ(lacksItsBody.reply(), "");
    // Whoever does not take the reply is given up: the next ones are served though no more than
    // three connections are open at a time.
    const std::array<Client, 3> deaf = {Client(server.port()), Client(server.port()),
                                        Client(server.port())};
    for (const auto& client : deaf)
        client.send(post(R"({"id":1,"method":"large"})"));
    EXPECT_EQ(exchange(post(ping)).status, "200 OK");
}

}  // namespace
}  // namespace quillet::world
