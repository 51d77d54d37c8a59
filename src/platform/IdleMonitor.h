#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <optional>

namespace quillet {

/// How long nobody has touched keyboard or pointer.
class IdleMonitor {
public:
    virtual ~IdleMonitor() = default;

    /// Since the last input event of any kind; none when the desktop does not tell.
    [[nodiscard]] virtual std::optional<std::chrono::milliseconds> idleFor() = 0;

    /// Waits until nobody has touched anything for this long, beginning with the next time that
    /// somebody does: a desktop that is idle already does not become so. Waits for ever when the
    /// desktop does not tell. Cancelled, it throws operation_aborted. Main queue.
    [[nodiscard]] virtual asio::awaitable<void> becomesIdle(std::chrono::milliseconds after) = 0;
};

}  // namespace quillet
