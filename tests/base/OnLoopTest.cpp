#include "base/async/OnLoop.h"

#include <gtest/gtest.h>

#include <asio/use_future.hpp>
#include <future>
#include <thread>

#include "base/async/Event.h"
#include "base/async/IoLoop.h"
#include "base/async/TaskScope.h"

namespace quillet {
namespace {

/// An operation that never ends, and tells the thread that it is cancelled on.
asio::awaitable<int> untilCancelled(std::promise<void>& begun,
                                    std::promise<std::thread::id>& cancelledOn) {
    auto start = [&](auto handler) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        slot.assign([&cancelledOn, h = std::move(handler)](asio::cancellation_type) mutable {
            cancelledOn.set_value(std::this_thread::get_id());
            auto executor = asio::get_associated_executor(h);
            asio::post(executor, [h = std::move(h)]() mutable {
                std::move(h)(asio::error::operation_aborted);
            });
        });
        begun.set_value();
    };
    co_await asio::async_initiate<const asio::use_awaitable_t<>, void(asio::error_code)>(
        start, asio::use_awaitable);
    co_return 0;
}

asio::awaitable<std::thread::id> thisThread() {
    co_return std::this_thread::get_id();
}

TEST(OnLoop, RunsAndCancelsWorkOnItsThread) {
    IoLoop here("here");
    IoLoop there("there");
    const auto on = [](IoLoop& loop, auto task) {
        return asio::co_spawn(loop.executor(), std::move(task), asio::use_future).get();
    };
    const auto thread = on(there, thisThread());
    EXPECT_EQ(on(here, onLoop(there, thisThread())), thread);

    std::promise<void> begun;
    std::promise<std::thread::id> cancelledOn;
    TaskScope tasks(here);
    here.enqueue([&] {
        auto ask = [&]() -> asio::awaitable<void> {
            co_await onLoop(there, untilCancelled(begun, cancelledOn));
        };
        tasks.spawn(ask());
    });
    begun.get_future().wait();
    on(here, [](TaskScope& all) -> asio::awaitable<bool> {
        co_await all.cancelAndSettle();
        co_return true;
    }(tasks));
    EXPECT_EQ(cancelledOn.get_future().get(), thread);
}

}  // namespace
}  // namespace quillet
