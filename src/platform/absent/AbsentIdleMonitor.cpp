#include "platform/absent/AbsentIdleMonitor.h"

#include "base/async/Event.h"

namespace quillet {

asio::awaitable<void> AbsentIdleMonitor::becomesIdle(std::chrono::milliseconds) {
    Event never;
    co_await never.wait();
}

}  // namespace quillet
