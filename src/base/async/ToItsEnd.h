#pragma once

#include <asio/cancellation_state.hpp>
#include <asio/this_coro.hpp>

namespace quillet {

/// `co_await toItsEnd()`: from here on the task is done to its end, also when it is cancelled. For
/// what must not be done by halves. Its scope waits for it, so it must not use what may be gone
/// while the scope's owner is being destroyed.
[[nodiscard]] inline auto toItsEnd() {
    return asio::this_coro::reset_cancellation_state(asio::disable_cancellation());
}

}  // namespace quillet
