#include "ui/history/DictationDeletion.h"

#include <asio/this_coro.hpp>

namespace quillet {

namespace {

/// What was begun is done to its end, also when its window is closed meanwhile: an entry that is
/// gone leaves no recording behind.
auto toItsEnd() {
    return asio::this_coro::reset_cancellation_state(asio::disable_cancellation());
}

}  // namespace

asio::awaitable<std::optional<DictationDeletion::Deleted>> DictationDeletion::erase(
    std::vector<std::string> ids) {
    co_await toItsEnd();
    auto dictations = co_await history_.deleteEntries(ids);
    if (!dictations)
        co_return std::nullopt;
    Deleted deleted{.dictations = std::move(*dictations), .recordings = {}};
    for (const auto& entry : deleted.dictations.entries) {
        if (auto recording = co_await archive_.take(entry.id))
            deleted.recordings.push_back(std::move(*recording));
    }
    co_return deleted;
}

asio::awaitable<bool> DictationDeletion::restore(Deleted deleted) {
    co_await toItsEnd();
    bool isDone = co_await history_.restore(std::move(deleted.dictations));
    for (auto& recording : deleted.recordings)
        isDone = co_await archive_.putBack(std::move(recording)) && isDone;
    co_return isDone;
}

asio::awaitable<bool> DictationDeletion::eraseAll() {
    co_await toItsEnd();
    std::vector<std::string> recorded;
    for (const auto& item : co_await archive_.list()) {
        if (co_await history_.entry(item.id))
            recorded.push_back(item.id);
    }
    if (!co_await history_.deleteAll())
        co_return false;
    for (auto& id : recorded)
        (void)co_await archive_.take(std::move(id));
    co_return true;
}

}  // namespace quillet
