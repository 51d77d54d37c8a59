#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

struct RpcError {
    int code = 0;
    std::string message;
};

/// The codes that JSON-RPC 2.0 lays down, and one of our own.
namespace rpc_code {
inline constexpr int parseError = -32700;
inline constexpr int invalidRequest = -32600;
inline constexpr int methodNotFound = -32601;
inline constexpr int invalidParams = -32602;
/// The request is understood and refused; the message is a sentence for the user.
inline constexpr int refused = -32000;
}  // namespace rpc_code

/// Answers JSON-RPC 2.0 messages by calling the methods that were added. Belongs to one thread.
class JsonRpcDispatcher {
public:
    using Result = std::expected<nlohmann::json, RpcError>;
    using Method = std::function<asio::awaitable<Result>(nlohmann::json params)>;

    JsonRpcDispatcher();
    ~JsonRpcDispatcher();

    void add(std::string name, Method method);

    /// The reply's text; none for a notification, which gets no reply.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> handle(std::string message);

private:
    asio::awaitable<Result> call(const nlohmann::json& request);

    std::map<std::string, Method, std::less<>> methods_;
};

}  // namespace quillet
