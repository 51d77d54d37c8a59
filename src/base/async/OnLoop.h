#pragma once

#include <asio/associated_cancellation_slot.hpp>
#include <asio/associated_executor.hpp>
#include <asio/awaitable.hpp>
#include <asio/bind_cancellation_slot.hpp>
#include <asio/cancellation_signal.hpp>
#include <asio/co_spawn.hpp>
#include <asio/post.hpp>
#include <asio/use_awaitable.hpp>
#include <exception>
#include <memory>
#include <utility>

#include "base/async/Loop.h"

namespace quillet {

/// Runs `work` on the thread of `loop`, and goes on with its result on the caller's own. Cancelled,
/// `work` is cancelled where it runs. Both loops must be drained until the caller has ended.
///
/// Asio by itself would cancel `work` on the caller's thread.
template <class Result>
[[nodiscard]] asio::awaitable<Result> onLoop(Loop& loop, asio::awaitable<Result> work) {
    auto start = [&loop](auto handler, asio::awaitable<Result> task) {
        auto signal = std::make_shared<asio::cancellation_signal>();  // touched on `loop` only
        auto caller = asio::get_associated_executor(handler);
        auto slot = asio::get_associated_cancellation_slot(handler);
        if (slot.is_connected()) {
            slot.assign([&loop, weak = std::weak_ptr(signal)](asio::cancellation_type type) {
                loop.enqueue([weak, type] {
                    if (const auto running = weak.lock())
                        running->emit(type);
                });
            });
        }
        auto slotThere = signal->slot();
        auto ended = [signal, caller, h = std::move(handler)](std::exception_ptr error,
                                                              Result result) mutable {
            const auto keep = std::move(signal);  // as long as its slot is in use
            asio::post(caller, [h = std::move(h), error = std::move(error),
                                result = std::move(result)]() mutable {
                std::move(h)(std::move(error), std::move(result));
            });
        };
        loop.enqueue(
            [&loop, slotThere, task = std::move(task), ended = std::move(ended)]() mutable {
                asio::co_spawn(loop.executor(), std::move(task),
                               asio::bind_cancellation_slot(slotThere, std::move(ended)));
            });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>,
                                            void(std::exception_ptr, Result)>(
        std::move(start), asio::use_awaitable, std::move(work));
}

}  // namespace quillet
