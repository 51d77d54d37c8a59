#include "app/DictationDeletion.h"

#include "base/async/ToItsEnd.h"
#include "memory/HistoryErasure.h"

namespace quillet {

asio::awaitable<std::optional<DictationDeletion::Deleted>> DictationDeletion::erase(
    std::vector<std::string> ids) {
    co_await toItsEnd();
    auto dictations = co_await services_.history.deleteEntries(ids);
    if (!dictations)
        co_return std::nullopt;
    Deleted deleted{.dictations = std::move(*dictations)};
    for (const auto& entry : deleted.dictations.entries) {
        if (auto recording = co_await services_.archive.take(entry.id))
            deleted.recordings.push_back(std::move(*recording));
    }
    const DeletedDictations gone{.all = false, .entries = deleted.dictations.entries};
    services_.session.forget(gone);
    deleted.review = co_await services_.reviewer.forget(gone);
    deleted.knowledge = co_await services_.knowledge.forget(gone);
    co_return deleted;
}

asio::awaitable<bool> DictationDeletion::restore(Deleted deleted) {
    co_await toItsEnd();
    bool isDone = co_await services_.history.restore(std::move(deleted.dictations));
    for (auto& recording : deleted.recordings)
        isDone = co_await services_.archive.putBack(std::move(recording)) && isDone;
    co_await services_.reviewer.restore(std::move(deleted.review));
    co_await services_.knowledge.restore(std::move(deleted.knowledge));
    co_return isDone;
}

asio::awaitable<bool> DictationDeletion::eraseAll() {
    co_await toItsEnd();
    if (!co_await eraseHistory(services_.history, services_.archive))
        co_return false;
    const DeletedDictations all{.all = true, .entries = {}};
    services_.session.forget(all);
    (void)co_await services_.reviewer.forget(all);
    (void)co_await services_.knowledge.forget(all);
    co_return true;
}

}  // namespace quillet
