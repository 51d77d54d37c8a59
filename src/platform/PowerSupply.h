#pragma once

#include <asio/awaitable.hpp>

namespace quillet {

/// Where the machine's power comes from. A machine without a battery is on power.
class PowerSupply {
public:
    virtual ~PowerSupply() = default;

    [[nodiscard]] virtual asio::awaitable<bool> isOnPower() = 0;

    /// Waits until the machine is plugged in, beginning with the next time that it is. Waits for
    /// ever where that is not told. Cancelled, it throws operation_aborted. Main queue.
    [[nodiscard]] virtual asio::awaitable<void> becomesPlugged() = 0;
};

}  // namespace quillet
