#include "platform/Calendar.h"

#include <gtest/gtest.h>

#include <map>

namespace quillet {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

/// A zone by the moments at which its offset changes, in minutes.
class Zone final : public Calendar {
public:
    Zone(minutes first, std::map<sys_seconds, minutes> changes)
        : first_(first), changes_(std::move(changes)) {}

    UnixTime now() const override { return {}; }
    local_seconds local(UnixTime time) const override {
        const auto moment = floor<seconds>(time);
        const auto next = changes_.upper_bound(moment);
        const auto offset = next == changes_.begin() ? first_ : std::prev(next)->second;
        return local_seconds(moment.time_since_epoch() + offset);
    }

private:
    minutes first_;
    std::map<sys_seconds, minutes> changes_;
};

TEST(Calendar, FindsTheMomentThatAClockShows) {
    const auto day = sys_days(2025y / 3 / 9);
    const auto wall = [](minutes time) { return local_days(2025y / 3 / 9) + time; };

    for (const auto offset : {0min, 8 * 60min, -12 * 60min, 14 * 60min, 5 * 60min + 45min}) {
        const Zone steady(offset, {});
        EXPECT_EQ(earliestMoment(steady, wall(3h)), day + 3h - offset) << offset.count();
    }

    // At 2:00 the clock is set to 3:00.
    const Zone spring(-5h, {{day + 7h, -4h}});
    EXPECT_EQ(earliestMoment(spring, wall(1h + 59min)), day + 6h + 59min);
    EXPECT_EQ(earliestMoment(spring, wall(2h)), day + 7h) << "shown by no clock";
    EXPECT_EQ(earliestMoment(spring, wall(2h + 30min)), day + 7h);
    EXPECT_EQ(earliestMoment(spring, wall(3h)), day + 7h);
    EXPECT_EQ(earliestMoment(spring, wall(3h + 1min)), day + 7h + 1min);

    // At 3:00 the clock is set to 2:00.
    const Zone autumn(2h, {{day + 1h, 1h}});
    EXPECT_EQ(earliestMoment(autumn, wall(2h)), day) << "its first pass";
    EXPECT_EQ(earliestMoment(autumn, wall(2h + 59min) + 59s), day + 1h - 1s);
    EXPECT_EQ(earliestMoment(autumn, wall(3h)), day + 2h) << "only after the second pass";

    // Half an hour, off the hours of UTC, forward and back.
    const Zone forward(10h + 30min, {{day - 8h - 30min, 11h}});
    EXPECT_EQ(earliestMoment(forward, wall(2h + 10min)), day - 8h - 30min);
    EXPECT_EQ(earliestMoment(forward, wall(2h + 30min)), day - 8h - 30min);
    const Zone back(11h, {{day - 9h, 10h + 30min}});
    EXPECT_EQ(earliestMoment(back, wall(1h + 45min)), day - 9h - 15min);
    EXPECT_EQ(earliestMoment(back, wall(2h)), day - 8h - 30min);

    // A whole day is left out.
    const Zone dateLine(-10h, {{day + 10h, 14h}});
    EXPECT_EQ(earliestMoment(dateLine, wall(3h)), day + 10h);
}

}  // namespace
}  // namespace quillet
