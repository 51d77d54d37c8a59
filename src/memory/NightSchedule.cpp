#include "memory/NightSchedule.h"

#include "base/async/Checkpoint.h"
#include "base/async/Loop.h"

namespace quillet {

namespace {

using std::chrono::days;
using std::chrono::hours;

constexpr hours hourOfTheNight{3};

Calendar::UnixTime threeOf(const Calendar& calendar, std::chrono::local_days day) {
    return earliestMoment(calendar, day + hourOfTheNight);
}

std::chrono::local_days dayOf(const Calendar& calendar, Calendar::UnixTime now) {
    return std::chrono::floor<days>(calendar.local(now));
}

}  // namespace

Calendar::UnixTime latestThree(const Calendar& calendar, Calendar::UnixTime now) {
    const auto today = dayOf(calendar, now);
    const auto three = threeOf(calendar, today);
    return three <= now ? three : threeOf(calendar, today - days(1));
}

Calendar::UnixTime nextThree(const Calendar& calendar, Calendar::UnixTime now) {
    const auto today = dayOf(calendar, now);
    const auto three = threeOf(calendar, today);
    return three > now ? three : threeOf(calendar, today + days(1));
}

bool isDue(const Calendar& calendar, std::optional<Calendar::UnixTime> lastRun) {
    const auto now = calendar.now();
    return !lastRun || *lastRun < latestThree(calendar, now) || *lastRun > now;
}

NightSchedule::NightSchedule(Services services)
    : services_(std::move(services)), tasks_(services_.loop) {
    tasks_.spawn(watchIdle());
    tasks_.spawn(watchPower());
    tasks_.spawn(watchClock());
}

asio::awaitable<void> NightSchedule::watchIdle() {
    while (true) {
        co_await services_.idle.becomesIdle(idleTime);
        co_await check();
    }
}

asio::awaitable<void> NightSchedule::watchPower() {
    while (true) {
        co_await services_.power.becomesPlugged();
        co_await check();
    }
}

asio::awaitable<void> NightSchedule::watchClock() {
    while (true) {
        const auto now = services_.calendar.now();
        co_await services_.alarm.waitUntil(nextThree(services_.calendar, now));
        co_await check();
    }
}

asio::awaitable<void> NightSchedule::check() {
    if (std::exchange(checking_, true))
        co_return;
    const bool now = co_await isTime();
    if (now) {
        again_.cancel();
        lastAttempt_ = services_.scheduler.now();
        if (!co_await services_.work())
            again_ = tasks_.spawn(tryAgainAfter(betweenAttempts));
    }
    checking_ = false;
}

/// What did not work is tried again while nobody comes.
asio::awaitable<void> NightSchedule::tryAgainAfter(Scheduler::Duration time) {
    co_await services_.scheduler.sleep(time);
    again_ = {};  // what is begun now is not to be cancelled by itself
    co_await check();
}

asio::awaitable<bool> NightSchedule::isTime() {
    if (!services_.isOn())
        co_return false;
    if (const auto wait = stillToWait(); wait > wait.zero()) {
        if (!again_.running())
            again_ = tasks_.spawn(tryAgainAfter(wait));
        co_return false;
    }
    const auto idle = services_.idle.idleFor();
    if (!idle || *idle < idleTime)
        co_return false;
    if (!co_await services_.power.isOnPower())
        co_return false;
    co_await checkpoint();
    co_return isDue(services_.calendar, services_.lastRun());
}

Scheduler::Duration NightSchedule::stillToWait() const {
    if (!lastAttempt_)
        return {};
    return *lastAttempt_ + betweenAttempts - services_.scheduler.now();
}

}  // namespace quillet
