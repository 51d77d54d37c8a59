#include "mcp/RequestHead.h"

#include <algorithm>
#include <charconv>

#include "base/text/Text.h"

namespace quillet {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view blankLine = "\r\n\r\n";

/// The part before the separator, which is taken off the text together with it.
std::string_view takeUntil(std::string_view& text, std::string_view separator) {
    const auto at = text.find(separator);
    const auto part = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + separator.size());
    return part;
}

bool isSameName(std::string_view name, std::string_view lowered) {
    return std::ranges::equal(name, lowered, {}, [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
}

/// A length in decimal digits and nothing else; none when it is more than a body may have.
std::optional<std::size_t> lengthOf(std::string_view text) {
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (error != std::errc() || end != text.data() + text.size() ||
        length > RequestHead::longestBody)
        return std::nullopt;
    return length;
}

/// How long the body is, by the headers. False when they do not say one and the same.
bool readFraming(RequestHead& head) {
    bool hasLength = false;
    for (const auto& [name, value] : head.headers) {
        if (isSameName(name, "content-length")) {
            const auto length = lengthOf(value);
            if (!length || (hasLength && *length != head.contentLength))
                return false;
            head.contentLength = *length;
            hasLength = true;
        } else if (isSameName(name, "transfer-encoding")) {
            if (!isSameName(value, "chunked"))
                return false;
            head.isChunked = true;
        }
    }
    return !(hasLength && head.isChunked);
}

}  // namespace

std::optional<std::string_view> RequestHead::header(std::string_view name) const {
    for (const auto& header : headers) {
        if (isSameName(header.name, name))
            return header.value;
    }
    return std::nullopt;
}

std::optional<std::size_t> endOfHead(std::string_view received) {
    const auto at = received.find(blankLine);
    return at == std::string_view::npos ? std::nullopt : std::optional(at + blankLine.size());
}

std::optional<RequestHead> parseHead(std::string_view bytes) {
    RequestHead head;
    head.bodyStart = bytes.size();
    if (!bytes.ends_with(blankLine) || !isValidUtf8(bytes))
        return std::nullopt;
    bytes.remove_suffix(blankLine.size());
    auto requestLine = takeUntil(bytes, lineEnd);
    if (!requestLine.contains(' '))
        return std::nullopt;
    head.method = takeUntil(requestLine, " ");
    head.path = takeUntil(requestLine, " ");
    constexpr std::size_t usualHeaders = 12;
    head.headers.reserve(usualHeaders);
    while (!bytes.empty()) {
        auto line = takeUntil(bytes, lineEnd);
        if (!line.contains(':'))
            continue;
        const auto name = takeUntil(line, ":");
        head.headers.push_back({name, trimmedView(line)});
    }
    if (!readFraming(head))
        return std::nullopt;
    return head;
}

}  // namespace quillet
