#include <gtest/gtest.h>

#include <functional>

#include "base/async/Event.h"
#include "memory/NightSchedule.h"
#include "world/SimLoop.h"

namespace quillet::world {
namespace {

using namespace std::chrono_literals;
using std::chrono::local_days;
using UnixTime = Calendar::UnixTime;

/// A wall clock that is set forward by an hour at one moment and back at another.
class DaylightCalendar final : public Calendar {
public:
    UnixTime now() const override { return at; }
    std::chrono::local_seconds local(UnixTime time) const override {
        const bool summer = time >= forward && time < back;
        return std::chrono::local_seconds(
            std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()) + (summer ? 2h : 1h));
    }
    static UnixTime utc(int month, int day, std::chrono::minutes time) {
        const std::chrono::sys_days date = std::chrono::year_month_day(
            std::chrono::year(2026), std::chrono::month(static_cast<unsigned>(month)),
            std::chrono::day(static_cast<unsigned>(day)));
        return UnixTime(date + time);
    }

    UnixTime forward = utc(3, 29, 1h);  // 2:00 becomes 3:00
    UnixTime back = utc(10, 25, 1h);    // 3:00 becomes 2:00
    UnixTime at{};
};

TEST(NightSchedule, ThreeOClockIsThreeOClockThroughTheYear) {
    const DaylightCalendar calendar;
    const auto utc = DaylightCalendar::utc;
    // Winter.
    EXPECT_EQ(latestThree(calendar, utc(1, 10, 2h)), utc(1, 10, 2h));
    EXPECT_EQ(latestThree(calendar, utc(1, 10, 2h - 1min)), utc(1, 9, 2h));
    EXPECT_EQ(nextThree(calendar, utc(1, 10, 2h)), utc(1, 11, 2h));
    // The night without an hour from 2:00 to 3:00: 3:00 follows at once.
    EXPECT_EQ(latestThree(calendar, utc(3, 29, 1h)), utc(3, 29, 1h));
    EXPECT_EQ(nextThree(calendar, utc(3, 28, 12h)), utc(3, 29, 1h));
    // The night that has it twice; 3:00 itself comes once the hour has passed again.
    EXPECT_EQ(nextThree(calendar, utc(10, 24, 12h)), utc(10, 25, 2h));
    EXPECT_EQ(latestThree(calendar, utc(10, 25, 90min)), utc(10, 24, 1h));
}

TEST(NightSchedule, WhereThreeIsSkippedOrTwiceItIsTheJumpOrTheFirst) {
    DaylightCalendar calendar;
    const auto utc = DaylightCalendar::utc;
    calendar.forward = utc(3, 29, 90min);  // 2:30 becomes 3:30
    calendar.back = utc(10, 25, 90min);    // 3:30 becomes 2:30
    EXPECT_EQ(nextThree(calendar, utc(3, 28, 12h)), utc(3, 29, 90min));
    EXPECT_EQ(nextThree(calendar, utc(10, 24, 12h)), utc(10, 25, 1h));
}

/// A machine that a story leaves alone, plugs in and puts to sleep.
class Machine final : public IdleMonitor, public PowerSupply, public WallClockAlarm {
public:
    std::optional<std::chrono::milliseconds> idleFor() override { return idle; }
    asio::awaitable<void> becomesIdle(std::chrono::milliseconds) override {
        left.reset();
        co_await left.wait();
    }
    asio::awaitable<bool> isOnPower() override { co_return plugged; }
    asio::awaitable<void> becomesPlugged() override {
        power.reset();
        co_await power.wait();
    }
    asio::awaitable<void> waitUntil(UnixTime time) override {
        alarmAt = time;
        alarm.reset();
        co_await alarm.wait();
    }

    std::optional<std::chrono::milliseconds> idle = 0ms;
    bool plugged = true;
    UnixTime alarmAt{};
    Event left;
    Event power;
    Event alarm;
};

class Nights : public ::testing::Test {
protected:
    Nights() {
        calendar.at = DaylightCalendar::utc(1, 10, 20h);
        lastRun = DaylightCalendar::utc(1, 10, 2h);
        schedule = std::make_unique<NightSchedule>(
            NightSchedule::Services{loop, scheduler, calendar, machine, machine, machine,
                                    [this] { return on; }, [this] { return lastRun; },
                                    [this]() -> asio::awaitable<bool> {
                                        ++runs;
                                        if (works)
                                            lastRun = calendar.now();
                                        co_return works;
                                    }});
        scheduler.drain();
    }
    void userLeaves() {
        machine.idle = 120s;
        machine.left.set();
        scheduler.drain();
    }
    void threeOClock() {
        calendar.at = machine.alarmAt;
        machine.alarm.set();
        scheduler.drain();
    }

    SimLoop loop;
    SimScheduler scheduler{loop};
    DaylightCalendar calendar;
    Machine machine;
    bool on = true;
    bool works = true;
    int runs = 0;
    std::optional<UnixTime> lastRun;
    std::unique_ptr<NightSchedule> schedule;
};

TEST_F(Nights, WorkIsDoneOnceANightWhenNobodyIsThere) {
    userLeaves();
    EXPECT_EQ(runs, 0) << "it is not three yet";
    threeOClock();
    EXPECT_EQ(runs, 1);
    scheduler.advance(3h);
    calendar.at += 3h;
    userLeaves();
    EXPECT_EQ(runs, 1) << "tonight is done";

    machine.idle = 5s;  // somebody works late
    threeOClock();
    EXPECT_EQ(runs, 1);
    userLeaves();
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(scheduler.timerCount(), 0U) << "nothing is looked at regularly";
}

TEST_F(Nights, ABatteryWaitsForThePlugAndASwitchForItself) {
    machine.plugged = false;
    userLeaves();
    threeOClock();
    EXPECT_EQ(runs, 0);
    machine.plugged = true;
    machine.power.set();
    scheduler.drain();
    EXPECT_EQ(runs, 1);

    on = false;
    scheduler.advance(24h);
    threeOClock();
    EXPECT_EQ(runs, 1);
    machine.idle.reset();
    on = true;
    threeOClock();
    EXPECT_EQ(runs, 1) << "a desktop that does not tell is not known to be left alone";
}

TEST_F(Nights, WhatFailedIsTriedAgainAfterHalfAnHour) {
    works = false;
    userLeaves();
    threeOClock();
    EXPECT_EQ(runs, 1);
    userLeaves();
    EXPECT_EQ(runs, 1) << "not at once";
    scheduler.advance(30min);
    EXPECT_EQ(runs, 2);
    works = true;
    scheduler.advance(30min);
    EXPECT_EQ(runs, 3);
    scheduler.advance(6h);
    EXPECT_EQ(runs, 3);
}

}  // namespace
}  // namespace quillet::world
