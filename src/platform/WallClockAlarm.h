#pragma once

#include <asio/awaitable.hpp>

#include "platform/Calendar.h"

namespace quillet {

/// Waits by the wall clock, which also runs while the machine sleeps and which users may set.
class WallClockAlarm {
public:
    virtual ~WallClockAlarm() = default;

    /// Returns at this time, or when the machine wakes after it. Returns early when the clock was
    /// set, so that the caller looks at it again. Cancelled, it throws operation_aborted. Main
    /// queue.
    [[nodiscard]] virtual asio::awaitable<void> waitUntil(Calendar::UnixTime time) = 0;
};

}  // namespace quillet
