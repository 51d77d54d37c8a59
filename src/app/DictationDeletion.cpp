#include "app/DictationDeletion.h"

#include "base/async/Event.h"
#include "base/async/ToItsEnd.h"
#include "memory/HistoryErasure.h"

namespace quillet {

/// Work of our own, for which the one who asked may cease to wait.
template <class T>
asio::awaitable<T> DictationDeletion::begun(asio::awaitable<T> work) {
    struct Ending {
        std::optional<T> result;
        Event arrived;
    };
    const auto ending = std::make_shared<Ending>();
    auto run = [](asio::awaitable<T> begunWork,
                  std::shared_ptr<Ending> told) -> asio::awaitable<void> {
        co_await toItsEnd();
        told->result.emplace(co_await std::move(begunWork));
        told->arrived.set();
    };
    tasks_.spawn(run(std::move(work), ending));
    co_await ending->arrived.wait();
    co_return std::move(*ending->result);
}

asio::awaitable<std::optional<DictationDeletion::Deleted>> DictationDeletion::erase(
    std::vector<std::string> ids) {
    return begun(eraseNow(std::move(ids)));
}

asio::awaitable<bool> DictationDeletion::restore(Deleted deleted) {
    return begun(restoreNow(std::move(deleted)));
}

asio::awaitable<DictationDeletion::Outcome> DictationDeletion::eraseAll() {
    return begun(eraseAllNow());
}

asio::awaitable<std::optional<DictationDeletion::Deleted>> DictationDeletion::eraseNow(
    std::vector<std::string> ids) {
    auto dictations = co_await services_.history.deleteEntries(std::move(ids));
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
    deleted.isComplete = deleted.review.isWritten && deleted.knowledge.isWritten;
    co_return deleted;
}

asio::awaitable<bool> DictationDeletion::restoreNow(Deleted deleted) {
    bool isDone = co_await services_.history.restore(std::move(deleted.dictations));
    for (auto& recording : deleted.recordings)
        isDone = co_await services_.archive.putBack(std::move(recording)) && isDone;
    co_await services_.reviewer.restore(std::move(deleted.review));
    co_await services_.knowledge.restore(std::move(deleted.knowledge));
    co_return isDone;
}

asio::awaitable<DictationDeletion::Outcome> DictationDeletion::eraseAllNow() {
    if (!co_await eraseHistory(services_.history, services_.archive))
        co_return Outcome::failed;
    const DeletedDictations all{.all = true, .entries = {}};
    services_.session.forget(all);
    const auto review = co_await services_.reviewer.forget(all);
    const auto knowledge = co_await services_.knowledge.forget(all);
    co_return review.isWritten&& knowledge.isWritten ? Outcome::done : Outcome::partly;
}

}  // namespace quillet
