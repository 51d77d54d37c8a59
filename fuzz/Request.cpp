#include "Laws.h"
#include "Targets.h"
#include "base/text/Text.h"
#include "mcp/ChunkedBody.h"
#include "mcp/RequestHead.h"

namespace quillet::fuzz {

namespace {

using State = ChunkedBody::State;

bool isPartOf(std::string_view part, std::string_view whole) {
    return part.empty() ||
           (part.data() >= whole.data() && part.end() <= whole.data() + whole.size());
}

void checkHead(std::string_view bytes) {
    const auto head = parseHead(bytes);
    if (!head)
        return;
    require(head->contentLength <= RequestHead::longestBody, "a body is not too long");
    require(!head->isChunked || head->contentLength == 0, "a body has one length");
    require(isPartOf(head->method, bytes) && isPartOf(head->path, bytes), "a head copies nothing");
    // Written down again it says the same.
    std::string again(head->method);
    again.append(" ").append(head->path).append("\r\n");
    for (const auto& [name, value] : head->headers) {
        requireSame(value, trimmed(value), "a value has no white space around it");
        again.append(name).append(":").append(value).append("\r\n");
    }
    const auto second = parseHead(again + "\r\n");
    require(second && second->contentLength == head->contentLength &&
                second->isChunked == head->isChunked,
            "a head says the same twice", again);
}

/// However the network cuts a body, it is the same.
void checkChunks(std::string_view bytes) {
    ChunkedBody whole(RequestHead::longestBody);
    const auto state = whole.take(bytes);
    ChunkedBody pieces(RequestHead::longestBody);
    auto last = State::unfinished;
    for (const char& byte : bytes)
        last = pieces.take({&byte, 1});
    require(bytes.empty() || state == last, "a body ends the same in pieces");
    if (state == State::finished)
        requireSame(pieces.body(), whole.body(), "a body is the same in pieces");
    require(whole.body().size() <= RequestHead::longestBody, "a body is not too long");
}

}  // namespace

/// A request: its head, and a body in chunks behind it.
void request(std::string_view input) {
    const auto end = endOfHead(input);
    checkHead(input.substr(0, end.value_or(input.size())));
    checkChunks(input.substr(end.value_or(0)));
}

}  // namespace quillet::fuzz
