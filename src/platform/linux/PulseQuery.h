#pragma once

#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/post.hpp>
#include <asio/prefer.hpp>
#include <asio/use_awaitable.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/linux/PulseConnection.h"
#include "platform/linux/PulseOperation.h"

namespace quillet {

/// Asks the sound server something and waits for the answer on the caller's executor.
///
/// `ask(context, done)` runs on the sound thread; it must see to it that `done(result)` is called
/// there, once. Further calls are ignored. Without a server, or when it goes away before it
/// answers, the result is `nothing`. Answers that do not come within the server's own time are the
/// server's death, so there is no deadline of ours.
template <class Result>
asio::awaitable<Result> askPulse(
    PulseConnection& connection, Result nothing,
    std::function<pa_operation*(pa_context*, std::function<void(Result)>)> ask) {
    auto start = [&connection, nothing = std::move(nothing), ask = std::move(ask)](auto handler) {
        using Handler = decltype(handler);
        struct Pending {
            explicit Pending(Handler h) : handler(std::make_unique<Handler>(std::move(h))) {}
            std::mutex mutex;
            std::unique_ptr<Handler> handler;  // none once it was called
        };
        auto ex = asio::prefer(asio::get_associated_executor(handler),
                               asio::execution::outstanding_work.tracked);
        const auto pending = std::make_shared<Pending>(std::move(handler));
        const std::function<void(Result)> done = [pending, ex](Result result) {
            std::unique_ptr<Handler> once;
            {
                const std::scoped_lock lock(pending->mutex);
                once = std::move(pending->handler);
            }
            if (once)
                asio::post(ex, [h = std::move(*once), result = std::move(result)]() mutable {
                    std::move(h)(std::move(result));
                });
        };
        const auto held = connection.lock();
        connection.whenReady([done, nothing, ask](pa_context* context) {
            if (context == nullptr) {
                done(nothing);
                return;
            }
            whenEnded(ask(context, done), [done, nothing] { done(nothing); });
        });
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>, void(Result)>(
        std::move(start), asio::use_awaitable);
}

}  // namespace quillet
