#pragma once

#include <asio/awaitable.hpp>
#include <asio/co_spawn.hpp>
#include <asio/use_awaitable.hpp>

#include "base/async/Loop.h"

namespace quillet {

/// Runs `work` on the thread of `loop`, and goes on with its result on the caller's own. Cancelled,
/// `work` is cancelled where it runs. Both loops must be drained until the caller has ended.
template <class Result>
[[nodiscard]] asio::awaitable<Result> onLoop(Loop& loop, asio::awaitable<Result> work) {
    co_return co_await asio::co_spawn(loop.executor(), std::move(work), asio::use_awaitable);
}

}  // namespace quillet
