#pragma once

#include <memory>
#include <string>

#include "platform/IdleMonitor.h"

namespace quillet {

class Loop;
class X11Connection;

/// The idle time that an X server counts, over all its keyboards and pointers. What this program
/// posts counts as well. A lost server does not tell any more. Main queue.
class X11IdleMonitor final : public IdleMonitor {
public:
    X11IdleMonitor(std::string displayName, Loop& loop);
    ~X11IdleMonitor() override;

    std::optional<std::chrono::milliseconds> idleFor() override;
    asio::awaitable<void> becomesIdle(std::chrono::milliseconds after) override;

private:
    const std::string displayName_;
    Loop& loop_;
    std::unique_ptr<X11Connection> connection_;  // none when the desktop does not tell
};

}  // namespace quillet
