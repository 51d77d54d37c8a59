#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace quillet {

/// The head of an HTTP request, as far as the server cares.
struct RequestHead {
    /// A body that claims to be longer makes the head invalid.
    static constexpr std::size_t longestBody = 1UL << 20;
    /// A longer head is nobody's request.
    static constexpr std::size_t longestHead = 16'384;

    std::string_view method;
    std::string_view path;  ///< the request's target as sent
    struct Header {
        std::string_view name;   ///< in the case that it was sent in
        std::string_view value;  ///< without white space around it
    };
    std::vector<Header> headers;
    std::size_t bodyStart = 0;      ///< just past the blank line
    std::size_t contentLength = 0;  ///< 0 when there is no such header
    bool isChunked = false;         ///< the body comes in chunks, whose sizes tell its length

    /// The value of the first header of this name, which is given in lower case; none where there
    /// is none.
    [[nodiscard]] std::optional<std::string_view> header(std::string_view name) const;
};

/// Where the blank line ends a head in what was received so far; none while it is not there.
[[nodiscard]] std::optional<std::size_t> endOfHead(std::string_view received);

/// Reads a head, which ends with its blank line; none when it is not one that can be answered. What
/// is returned refers to `bytes`.
[[nodiscard]] std::optional<RequestHead> parseHead(std::string_view bytes);

}  // namespace quillet
