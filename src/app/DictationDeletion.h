#pragma once

#include <asio/awaitable.hpp>
#include <optional>
#include <string>
#include <vector>

#include "app/RecordingSession.h"
#include "audio/RecordingArchive.h"
#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"
#include "store/SessionStore.h"

namespace quillet {

/// Deletes dictations with all that was kept of them: recordings, what the knowledge base quotes,
/// what waits in the nightly review, and what could be typed again. Puts it back, too. What was
/// begun is done to its end, also when the one who asked is gone. Belongs to the main queue's
/// thread.
class DictationDeletion {
public:
    struct Services {
        SessionStore& history;
        RecordingArchive& archive;
        KnowledgeKeeper& knowledge;
        NightlyReviewer& reviewer;
        RecordingSession& session;
    };
    struct Deleted {
        DeletedEntries dictations;
        std::vector<RecordingArchive::Taken> recordings;
        Knowledge::Forgotten knowledge;
        NightlyReview::Forgotten review;
    };

    explicit DictationDeletion(Services services) : services_(services) {}

    /// None when the history could not be changed.
    [[nodiscard]] asio::awaitable<std::optional<Deleted>> erase(std::vector<std::string> ids);
    /// False when something could not be written.
    [[nodiscard]] asio::awaitable<bool> restore(Deleted deleted);
    /// Everything, which cannot be put back; false when the history could not be changed.
    [[nodiscard]] asio::awaitable<bool> eraseAll();

private:
    Services services_;
};

}  // namespace quillet
