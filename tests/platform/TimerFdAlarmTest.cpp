#include "platform/linux/TimerFdAlarm.h"

#include "base/async/TaskScope.h"
#include "platform/DesktopFixture.h"
#include "platform/linux/SystemServices.h"

namespace quillet::test {

namespace {

using namespace std::chrono_literals;

class TimerFdAlarmTest : public DesktopFixture {
protected:
    TimerFdAlarm alarm{loop};
    SystemCalendar calendar;
};

TEST_F(TimerFdAlarmTest, RingsAtItsTimeAndNeverBefore) {
    for (const auto wait : {0ms, 1ms, 60ms}) {
        const auto time = calendar.now() + wait;
        run(alarm.waitUntil(time));
        EXPECT_GE(calendar.now(), time);
        EXPECT_LT(calendar.now(), time + 1s);
    }
    run(alarm.waitUntil(Calendar::UnixTime()));
}

TEST_F(TimerFdAlarmTest, CanBeCancelled) {
    TaskScope tasks(loop);
    tasks.spawn(alarm.waitUntil(calendar.now() + 1h));
    run(alarm.waitUntil(calendar.now() + 1ms));
    EXPECT_FALSE(tasks.empty());
    tasks.cancelAll();
    until([&] { return tasks.empty(); });
}

}  // namespace

}  // namespace quillet::test
