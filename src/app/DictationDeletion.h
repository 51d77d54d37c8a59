#pragma once

#include <asio/awaitable.hpp>
#include <optional>
#include <string>
#include <vector>

#include "app/RecordingSession.h"
#include "audio/RecordingArchive.h"
#include "base/async/TaskScope.h"
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
        Loop& loop;
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
        bool isComplete = true;  ///< what was made of them is gone as well
    };
    enum class Outcome {
        done,
        partly,  ///< the history is gone, but not all that was made of it
        failed,  ///< the history could not be changed
    };

    explicit DictationDeletion(Services services) : services_(services), tasks_(services.loop) {}

    /// None when the history could not be changed.
    [[nodiscard]] asio::awaitable<std::optional<Deleted>> erase(std::vector<std::string> ids);
    /// False when something could not be written.
    [[nodiscard]] asio::awaitable<bool> restore(Deleted deleted);
    /// Everything, which cannot be put back.
    [[nodiscard]] asio::awaitable<Outcome> eraseAll();

private:
    template <class T>
    asio::awaitable<T> begun(asio::awaitable<T> work);
    asio::awaitable<std::optional<Deleted>> eraseNow(std::vector<std::string> ids);
    asio::awaitable<bool> restoreNow(Deleted deleted);
    asio::awaitable<Outcome> eraseAllNow();

    Services services_;
    TaskScope tasks_;
};

}  // namespace quillet
