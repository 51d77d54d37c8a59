#include "base/async/Scheduler.h"

#include <asio/use_awaitable.hpp>

namespace quillet {

asio::awaitable<void> Scheduler::sleep(Duration duration) {
    co_await asyncSleepUntil(now() + duration, asio::use_awaitable);
}

}  // namespace quillet
