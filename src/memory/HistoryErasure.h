#pragma once

#include <asio/awaitable.hpp>
#include <filesystem>

#include "audio/RecordingArchive.h"
#include "memory/ReviewFile.h"
#include "store/SessionStore.h"

namespace quillet {

/// Deletes the whole history, and the recordings that were kept of it; false when the history could
/// not be changed.
[[nodiscard]] asio::awaitable<bool> eraseHistory(SessionStore& history, RecordingArchive& archive);

/// Takes out of files what was made of all dictations, while no application runs that holds them;
/// false when some of it could not be changed. Blocks.
[[nodiscard]] bool forgetAllInFiles(const std::filesystem::path& knowledge, ReviewFile review);

}  // namespace quillet
