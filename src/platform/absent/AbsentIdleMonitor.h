#pragma once

#include "platform/IdleMonitor.h"

namespace quillet {

/// A desktop that does not tell whether it is in use.
class AbsentIdleMonitor final : public IdleMonitor {
public:
    std::optional<std::chrono::milliseconds> idleFor() override { return {}; }
    asio::awaitable<void> becomesIdle(std::chrono::milliseconds after) override;
};

}  // namespace quillet
