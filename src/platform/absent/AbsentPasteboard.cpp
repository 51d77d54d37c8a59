#include "platform/absent/AbsentPasteboard.h"

#include "base/async/Event.h"

namespace quillet {

asio::awaitable<PasteboardSnapshot> AbsentPasteboard::snapshot() {
    co_return PasteboardSnapshot();
}

asio::awaitable<std::expected<std::uint64_t, Pasteboard::Error>> AbsentPasteboard::writeText(
    std::string, Lifetime, Reach) {
    co_return std::unexpected(Error::unavailable);
}

asio::awaitable<bool> AbsentPasteboard::restore(PasteboardSnapshot, std::uint64_t) {
    co_return false;
}

asio::awaitable<void> AbsentPasteboard::waitUntilFetched() {
    Event never;
    co_await never.wait();
}

}  // namespace quillet
