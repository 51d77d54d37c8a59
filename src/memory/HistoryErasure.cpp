#include "memory/HistoryErasure.h"

#include "memory/KnowledgeKeeper.h"

namespace quillet {

asio::awaitable<bool> eraseHistory(SessionStore& history, RecordingArchive& archive) {
    std::vector<std::string> recorded;
    for (const auto& item : co_await archive.list()) {
        if (co_await history.contains(item.id))
            recorded.push_back(item.id);
    }
    if (!co_await history.deleteAll())
        co_return false;
    for (auto& id : recorded)
        (void)co_await archive.take(std::move(id));
    co_return true;
}

bool forgetAllInFiles(const std::filesystem::path& knowledge, ReviewFile review) {
    const DeletedDictations all{.all = true, .entries = {}};
    const bool isReviewDone = review.forget(all);
    return forgetInKnowledge(knowledge, all) && isReviewDone;
}

}  // namespace quillet
