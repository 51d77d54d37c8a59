#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <cstddef>
#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillet {

struct HttpRequest {
    std::string method = "GET";
    std::string url;
    std::vector<std::pair<std::string, std::string>> headers;
    /// Shared so that a retry sends the same bytes without a copy.
    std::shared_ptr<const std::string> body;
    /// For all of it; zero: however long it takes.
    std::chrono::milliseconds timeout{60'000};
    /// The longest time in which nothing arrives; zero: any. Past it, it counts as `timedOut`.
    std::chrono::seconds stallTimeout{0};
    /// A longer answer is cut off and counts as `tooLarge`.
    std::size_t largestAnswer = 64UL << 20U;
    /// Takes the answer's body as it arrives, which the response then lacks. Called on a thread of
    /// the client's own, which it must not hold up, and not any more once the request has ended.
    /// False: no more of it is wanted, which counts as `tooLarge`.
    std::function<bool(std::string_view piece)> onBody;
};

/// What a service that answers with some text may send.
inline constexpr std::size_t largestTextAnswer = 1UL << 20U;

struct HttpResponse {
    long status = 0;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

struct HttpError {
    enum class Kind {
        cancelled,
        badUrl,       ///< not an http or https URL
        badHeader,    ///< a header holds a control character, which could add headers
        unreachable,  ///< name not found, connection refused, TLS refused
        timedOut,
        broken,      ///< the answer ended early, or was not HTTP
        tooLarge,    ///< the answer is longer than what is accepted
        notAllowed,  ///< the user does not let anything be sent there; nothing was
    };
    Kind kind = Kind::unreachable;
    std::string message;  ///< the library's own sentence, without anything of the request
};

/// Sends HTTP requests. Redirects are not followed: a key must not reach a host that it was not
/// given for.
class HttpClient {
public:
    using Result = std::expected<HttpResponse, HttpError>;

    virtual ~HttpClient() = default;

    /// Any status is a response. Cancelled, the request is abandoned at once.
    [[nodiscard]] virtual asio::awaitable<Result> perform(HttpRequest request) = 0;

    /// Opens a connection to the URL's host, so that the next request there finds it warm. Nothing
    /// but the host learns of it: no path, no key.
    virtual void prewarm(std::string_view url) = 0;

    /// Whether anything may be sent there, which may take as long as the user takes to decide.
    /// Worth asking before a time limit begins; `perform` asks by itself.
    [[nodiscard]] virtual asio::awaitable<bool> permitted(std::string url);
};

}  // namespace quillet
