#pragma once

#include <asio/awaitable.hpp>

namespace quillet {

/// Throws operation_aborted when the task that awaits it has been cancelled. To be awaited after
/// work that runs to its end even when cancelled, before its result changes anything.
[[nodiscard]] inline asio::awaitable<void> checkpoint() {
    co_return;
}

}  // namespace quillet
