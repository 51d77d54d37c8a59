#include "platform/linux/X11IdleMonitor.h"

#include "base/async/TaskScope.h"
#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

using namespace std::chrono_literals;

class X11IdleMonitorTest : public DesktopFixture {
protected:
    static asio::awaitable<void> noteIdle(IdleMonitor& monitor, std::chrono::milliseconds after,
                                          bool& became) {
        co_await monitor.becomesIdle(after);
        became = true;
    }
};

TEST_F(X11IdleMonitorTest, CountsFromTheLatestInput) {
    auto& monitor = desktop->idleMonitor();
    shell("xdotool key Shift_L");
    run(monitor.becomesIdle(300ms));
    const auto idle = monitor.idleFor();
    ASSERT_TRUE(idle);
    EXPECT_GE(*idle, 300ms);
    shell("xdotool mousemove_relative 1 1");
    EXPECT_LT(monitor.idleFor(), idle);
}

TEST_F(X11IdleMonitorTest, WhatIsIdleAlreadyBecomesSoOnceItWasTouched) {
    auto& monitor = desktop->idleMonitor();
    shell("xdotool key Shift_L");
    run(monitor.becomesIdle(200ms));

    TaskScope tasks(loop);
    bool became = false;
    tasks.spawn(noteIdle(monitor, 150ms, became));
    run(monitor.becomesIdle(500ms));
    EXPECT_FALSE(became);

    shell("xdotool key Shift_L");
    until([&] { return became; });
    EXPECT_GE(monitor.idleFor(), 150ms);

    bool never = false;
    const auto cancelled = tasks.spawn(noteIdle(monitor, 1h, never));
    run(monitor.becomesIdle(*monitor.idleFor() + 50ms));
    cancelled.cancel();
    until([&] { return tasks.empty(); });
    EXPECT_FALSE(never);
}

TEST_F(X11IdleMonitorTest, WithoutADisplayItDoesNotTell) {
    X11IdleMonitor monitor(":987", loop);
    EXPECT_FALSE(monitor.idleFor());
    TaskScope tasks(loop);
    bool became = false;
    tasks.spawn(noteIdle(monitor, 0ms, became));
    run(scheduler.sleep(1ms));
    tasks.cancelAndJoin();
    EXPECT_FALSE(became);
}

}  // namespace

}  // namespace quillet::test
