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

/// What a method returns that is understood and not carried out; the sentence is for the user.
[[nodiscard]] std::unexpected<RpcError> refusal(std::string_view sentence);

/// Answers JSON-RPC 2.0 messages by calling the methods that were added. Belongs to one thread.
class JsonRpcDispatcher {
public:
    using Result = std::expected<nlohmann::json, RpcError>;
    using Method = std::function<asio::awaitable<Result>(nlohmann::json params)>;
    /// A result that is JSON text already.
    using TextResult = std::expected<std::string, RpcError>;
    using TextMethod = std::function<asio::awaitable<TextResult>(const nlohmann::json& params)>;

    JsonRpcDispatcher();
    ~JsonRpcDispatcher();

    /// A method gets an object, an empty one where the request has no parameters by name.
    void add(std::string name, Method method);
    /// The same; its parameters live as long as the call.
    void addText(std::string name, TextMethod method);
    /// A method with always the same result, JSON text.
    void addFixed(std::string name, std::string result);

    /// The request in a message; otherwise the reply that says what is wrong with it. Deeper
    /// nesting than any request needs counts as unreadable. Any thread.
    [[nodiscard]] static std::expected<nlohmann::json, std::string> parse(std::string_view message);

    /// The reply to a request with an id for which nothing has to run. None for others.
    [[nodiscard]] std::optional<std::string> answerAtOnce(const nlohmann::json& request) const;
    /// The reply to a request, which lives as long as the call. None for a notification: it runs
    /// nothing and gets no reply.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> answer(
        const nlohmann::json& request) const;
    /// Both in one.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> handle(std::string message);

private:
    std::map<std::string, TextMethod, std::less<>> methods_;
    std::map<std::string, std::string, std::less<>> fixed_;
};

}  // namespace quillet
