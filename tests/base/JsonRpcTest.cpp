#include "base/rpc/JsonRpc.h"

#include <gtest/gtest.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "app/ControlServer.h"
#include "base/async/CommandLoop.h"
#include "cli/ControlClient.h"
#include "platform/linux/SteadyScheduler.h"
#include "world/TemporaryFolder.h"

namespace quillet::world {
namespace {

using nlohmann::json;

class JsonRpc : public ::testing::Test {
protected:
    JsonRpc() {
        dispatcher.add("echo", [](json params) -> asio::awaitable<JsonRpcDispatcher::Result> {
            co_return params;
        });
        dispatcher.add("refuse", [](json) -> asio::awaitable<JsonRpcDispatcher::Result> {
            RpcError error{rpc_code::refused, "Not now."};
            co_return std::unexpected(std::move(error));
        });
    }

    CommandLoop loop;
    JsonRpcDispatcher dispatcher;
};

TEST_F(JsonRpc, AnswersEveryMessageAsItDeserves) {
    const auto handle = [this](std::string message) {
        return loop.run(dispatcher.handle(std::move(message)));
    };
    const auto code = [&](std::string message) {
        return json::parse(handle(std::move(message)).value())["error"]["code"].get<int>();
    };
    EXPECT_EQ(
        json::parse(*handle(R"({"jsonrpc":"2.0","id":"a","method":"echo","params":{"b":1}})")),
        json({{"jsonrpc", "2.0"}, {"id", "a"}, {"result", {{"b", 1}}}}));
    EXPECT_EQ(json::parse(*handle(R"({"id":null,"method":"echo","params":[1]})")),
              json({{"jsonrpc", "2.0"}, {"id", nullptr}, {"result", json::object()}}));
    EXPECT_EQ(code("{"), rpc_code::parseError);
    EXPECT_EQ(code("[]"), rpc_code::invalidRequest);
    EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1,"method":7})"), rpc_code::methodNotFound);
    EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1,"method":"none"})"), rpc_code::methodNotFound);
    EXPECT_EQ(code(R"({"jsonrpc":"2.0","id":1,"method":"refuse"})"), rpc_code::refused);
    EXPECT_FALSE(handle(R"({"jsonrpc":"2.0","method":"echo"})"));
    // What is nested without end is refused before anything walks over it; brackets in texts, and
    // behind escaped quotes, are none.
    const std::string deep(500'000, '[');
    EXPECT_EQ(code(R"({"id":)" + deep), rpc_code::parseError);
    EXPECT_EQ(code(R"({"method":"none","id":"\")" + deep + R"("})"), rpc_code::methodNotFound);
}

TEST_F(JsonRpc, IsServedThroughASocketThatOneCopyHolds) {
    const TemporaryFolder folder;
    const auto socket = folder.path() / "quillet.sock";
    const Log log(makeNullLogSink(), Log::PrivateText::hide);
    const ControlClient client(socket);
    EXPECT_TRUE(client.call("echo", json()).error().notRunning);

    SteadyScheduler scheduler(loop);
    ControlServer server(dispatcher, loop, scheduler, log);
    ASSERT_TRUE(server.listen(socket));
    EXPECT_EQ(std::filesystem::status(socket).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    ControlServer second(dispatcher, loop, scheduler, log);
    EXPECT_EQ(second.listen(socket).error(), ControlServer::Error::anotherIsRunning);

    std::atomic<bool> done = false;
    std::expected<json, ControlClient::Failure> good;
    std::expected<json, ControlClient::Failure> bad;
    std::jthread caller([&] {
        good = client.call("echo", {{"text", std::string(100'000, 'x')}});
        bad = client.call("refuse", json());
        done = true;
        loop.enqueue([] {});
    });
    while (!done)
        loop.waitAndDrainOne();
    ASSERT_TRUE(good.has_value());
    EXPECT_EQ((*good)["text"].get<std::string>().size(), 100'000U);
    EXPECT_EQ(bad.error().sentence, "Not now.");
    server.close();
    EXPECT_FALSE(std::filesystem::exists(socket));
}

}  // namespace
}  // namespace quillet::world
