#pragma once

#include "base/rpc/JsonRpc.h"
#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"

namespace quillet {

/// Offers the nightly review and the knowledge base to the `quillet` command. Belongs to the main
/// queue's thread.
class MemoryService {
public:
    MemoryService(NightlyReviewer& reviewer, KnowledgeKeeper& knowledge)
        : reviewer_(reviewer), knowledge_(knowledge) {}

    /// Adds the methods; the dispatcher must not outlive this.
    void offer(JsonRpcDispatcher& dispatcher);

private:
    using Result = JsonRpcDispatcher::Result;
    using Done = ReviewLedger::Done;
    using Answer = asio::awaitable<Done> (ReviewLedger::*)(std::size_t);

    asio::awaitable<Result> run();
    asio::awaitable<Result> settle(nlohmann::json params, Answer answer);
    asio::awaitable<Result> undo(nlohmann::json params);
    asio::awaitable<Result> distil();
    asio::awaitable<Result> remove(nlohmann::json params);

    NightlyReviewer& reviewer_;
    KnowledgeKeeper& knowledge_;
};

}  // namespace quillet
