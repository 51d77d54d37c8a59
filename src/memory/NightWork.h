#pragma once

#include <asio/awaitable.hpp>
#include <optional>

#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"

namespace quillet {

/// What is done in a night: first the review, so that its spellings are known, then the knowledge
/// base, whatever became of the review. Belongs to the main queue's thread.
class NightWork {
public:
    NightWork(const Calendar& calendar, NightlyReviewer& reviewer, KnowledgeKeeper& knowledge)
        : calendar_(calendar), reviewer_(reviewer), knowledge_(knowledge) {}

    /// Does what is still to be done tonight; false when some of it is to be tried again.
    [[nodiscard]] asio::awaitable<bool> run();
    /// When the work of a night was last done; none while some of it is to be tried again.
    [[nodiscard]] std::optional<Calendar::UnixTime> lastRun() const;

private:
    const Calendar& calendar_;
    NightlyReviewer& reviewer_;
    KnowledgeKeeper& knowledge_;
    std::optional<Calendar::UnixTime> done_;
    bool isLeft_ = false;
};

}  // namespace quillet
