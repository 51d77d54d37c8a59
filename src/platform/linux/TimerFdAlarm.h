#pragma once

#include "platform/WallClockAlarm.h"

namespace quillet {

class Loop;

/// The kernel's timers of the wall clock.
class TimerFdAlarm final : public WallClockAlarm {
public:
    explicit TimerFdAlarm(Loop& loop) : loop_(loop) {}

    asio::awaitable<void> waitUntil(Calendar::UnixTime time) override;

private:
    Loop& loop_;
};

}  // namespace quillet
