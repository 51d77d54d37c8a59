#pragma once

#include <asio/awaitable.hpp>
#include <optional>
#include <string>
#include <vector>

#include "audio/RecordingArchive.h"
#include "store/SessionStore.h"

namespace quillet {

/// Deletes dictations with the recordings that were kept of them, and puts both back.
class DictationDeletion {
public:
    struct Deleted {
        DeletedEntries dictations;
        std::vector<RecordingArchive::Taken> recordings;
    };

    DictationDeletion(SessionStore& history, RecordingArchive& archive)
        : history_(history), archive_(archive) {}

    /// None when the history could not be changed.
    [[nodiscard]] asio::awaitable<std::optional<Deleted>> erase(std::vector<std::string> ids);
    /// False when something could not be written.
    [[nodiscard]] asio::awaitable<bool> restore(Deleted deleted);
    /// Everything, which cannot be put back; false when the history could not be changed.
    [[nodiscard]] asio::awaitable<bool> eraseAll();

private:
    SessionStore& history_;
    RecordingArchive& archive_;
};

}  // namespace quillet
