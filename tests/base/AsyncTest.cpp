#include <gtest/gtest.h>

#include <asio/experimental/awaitable_operators.hpp>
#include <atomic>
#include <thread>

#include "base/async/Checkpoint.h"
#include "base/async/CommandLoop.h"
#include "base/async/Event.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "platform/linux/SteadyScheduler.h"
#include "world/SimLoop.h"

namespace quillet::world {
namespace {

using namespace std::chrono_literals;
using namespace asio::experimental::awaitable_operators;

TEST(Loop, KeepsOrderAcrossThreadsAndNestedDrains) {
    CommandLoop loop;
    std::vector<int> order;
    loop.enqueue([&] {
        order.push_back(1);
        loop.drain();  // as a modal dialog does
        order.push_back(4);
    });
    loop.enqueue([&] { order.push_back(2); });
    loop.enqueue([&] { order.push_back(3); });
    loop.drain();
    EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));

    int sum = 0;
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                for (int i = 0; i < 1'000; ++i)
                    loop.enqueue([&sum] { ++sum; });
            });
        while (sum < 4'000)
            loop.waitAndDrainOne();
    }
    EXPECT_EQ(sum, 4'000);
}

TEST(TaskScope, DestroyedCancelsEveryKindOfWaitAndWaitsForTheEnd) {
    CommandLoop loop;
    SteadyScheduler scheduler(loop);
    SerialQueue queue("test");
    Event never;
    std::atomic<bool> worked = false;
    int unwound = 0;
    struct Unwinding {
        int& count;
        ~Unwinding() { ++count; }
    };
    {
        TaskScope scope(loop);
        auto sleeping = [&]() -> asio::awaitable<void> {
            const Unwinding u{unwound};
            co_await scheduler.sleep(24h);
        };
        auto waiting = [&]() -> asio::awaitable<void> {
            const Unwinding u{unwound};
            co_await never.wait();
        };
        auto working = [&]() -> asio::awaitable<void> {
            const Unwinding u{unwound};
            auto work = [&worked] { worked = true; };
            co_await queue.run(std::move(work));
            co_await checkpoint();
            ADD_FAILURE() << "a cancelled task went on";
        };
        auto racing = [&]() -> asio::awaitable<void> {
            const Unwinding u{unwound};
            co_await (never.wait() || scheduler.sleep(24h));
        };
        scope.spawn(sleeping());
        scope.spawn(waiting());
        scope.spawn(racing());
        scope.spawn(working());
        loop.drain(4);
    }
    EXPECT_EQ(unwound, 4);
    EXPECT_TRUE(worked);
}

TEST(TaskScope, HandsABugToItsOwner) {
    CommandLoop loop;
    std::string heard;
    TaskScope scope(loop, [&](std::string_view what) { heard = what; });
    auto buggy = []() -> asio::awaitable<void> {
        throw std::runtime_error("oops");
        co_return;
    };
    scope.spawn(buggy());
    loop.drain();
    EXPECT_EQ(heard, "oops");
    EXPECT_TRUE(scope.empty());
}

TEST(SerialQueue, BringsResultsAndExceptionsBackToTheCallersThread) {
    CommandLoop loop;
    SerialQueue queue("test");
    const auto here = std::this_thread::get_id();
    auto task = [&]() -> asio::awaitable<int> {
        auto elsewhere = [here] { return std::this_thread::get_id() != here; };
        EXPECT_TRUE(co_await queue.run(std::move(elsewhere)));
        EXPECT_EQ(std::this_thread::get_id(), here);
        auto failing = []() -> int { throw std::runtime_error("no"); };
        bool thrown = false;
        try {
            (void)co_await queue.run(std::move(failing));
        } catch (const std::runtime_error&) {
            thrown = true;
        }
        EXPECT_TRUE(thrown);
        EXPECT_EQ(std::this_thread::get_id(), here);
        co_return 7;
    };
    EXPECT_EQ(loop.run(task()), 7);
}

TEST(SteadyScheduler, FiresInOrderAndForgetsWhatIsDisarmed) {
    CommandLoop loop;
    SteadyScheduler scheduler(loop);
    std::vector<int> order;
    TaskScope scope(loop);
    const auto after = [&](std::chrono::milliseconds time, int number) {
        auto task = [](SteadyScheduler& s, std::chrono::milliseconds t, int n,
                       std::vector<int>& into) -> asio::awaitable<void> {
            co_await s.sleep(t);
            into.push_back(n);
        };
        return scope.spawn(task(scheduler, time, number, order));
    };
    after(30ms, 3);
    const auto cancelled = after(20ms, 2);
    after(10ms, 1);
    loop.drain();
    cancelled.cancel();
    while (!scope.empty())
        loop.waitAndDrainOne();
    EXPECT_EQ(order, (std::vector{1, 3}));
}

}  // namespace
}  // namespace quillet::world
