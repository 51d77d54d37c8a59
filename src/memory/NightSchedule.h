#pragma once

#include <asio/awaitable.hpp>
#include <functional>
#include <optional>

#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "platform/Calendar.h"
#include "platform/IdleMonitor.h"
#include "platform/PowerSupply.h"
#include "platform/WallClockAlarm.h"

namespace quillet {

/// Decides when the night's work is done: after 3:00, when nobody is at the machine and it is on
/// power. Looks when the machine becomes idle, when it is plugged in and at 3:00 itself; in between
/// nothing happens. Belongs to the main queue's thread.
class NightSchedule {
public:
    static constexpr std::chrono::seconds idleTime{120};
    static constexpr std::chrono::seconds betweenAttempts{1'800};

    struct Services {
        Loop& loop;
        Scheduler& scheduler;
        const Calendar& calendar;
        IdleMonitor& idle;
        PowerSupply& power;
        WallClockAlarm& alarm;
        /// Whether the work is wanted and can be done at all.
        std::function<bool()> isOn;
        std::function<std::optional<Calendar::UnixTime>()> lastRun;
        /// False when it is to be tried again.
        std::function<asio::awaitable<bool>()> work;
    };

    /// Begins to wait.
    explicit NightSchedule(Services services);

private:
    asio::awaitable<void> watchIdle();
    asio::awaitable<void> watchPower();
    asio::awaitable<void> watchClock();
    asio::awaitable<void> check();
    asio::awaitable<bool> isTime();
    asio::awaitable<void> tryAgainAfter(Scheduler::Duration time);
    [[nodiscard]] Scheduler::Duration stillToWait() const;

    Services services_;
    std::optional<Scheduler::TimePoint> lastAttempt_;
    bool checking_ = false;
    TaskHandle again_;
    TaskScope tasks_;
};

/// 3:00 by the clock on the wall: the latest one that is not in the future, and the one after that.
/// Where a night has two, it is the first; where it has none, the moment that the clock jumps.
[[nodiscard]] Calendar::UnixTime latestThree(const Calendar& calendar, Calendar::UnixTime now);
[[nodiscard]] Calendar::UnixTime nextThree(const Calendar& calendar, Calendar::UnixTime now);

/// Whether what was last done then is to be done again; a time that is yet to come counts as none,
/// for the clock was ahead.
[[nodiscard]] bool isDue(const Calendar& calendar, std::optional<Calendar::UnixTime> lastRun);

}  // namespace quillet
