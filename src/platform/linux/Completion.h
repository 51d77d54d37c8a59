#pragma once

#include <asio/associated_cancellation_slot.hpp>
#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/error.hpp>
#include <asio/error_code.hpp>
#include <asio/post.hpp>
#include <asio/prefer.hpp>
#include <asio/use_awaitable.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace quillet {

/// The end of an operation that another thread carries out for a coroutine. Whoever comes first,
/// the result or a cancellation, ends it; the rest has no effect. Thread-safe.
template <class T>
class Completion {
public:
    void finish(T value) { end({}, std::move(value)); }
    void abort() { end(asio::error::operation_aborted, T()); }

    /// Calls `start` with a completion, and waits until that is finished. The coroutine goes on on
    /// its own executor; aborted or cancelled, it gets operation_aborted.
    template <class Start>
    [[nodiscard]] static asio::awaitable<T> wait(Start start) {
        auto initiate = [](auto handler, Start begin) {
            auto completion = std::make_shared<Completion>();
            auto slot = asio::get_associated_cancellation_slot(handler);
            auto back = asio::prefer(asio::get_associated_executor(handler),
                                     asio::execution::outstanding_work.tracked);
            completion->resume_ = [h = std::move(handler), back](asio::error_code ec,
                                                                 T value) mutable {
                asio::post(back, [h = std::move(h), ec, value = std::move(value)]() mutable {
                    std::move(h)(ec, std::move(value));
                });
            };
            if (slot.is_connected()) {
                slot.assign([weak = std::weak_ptr(completion)](asio::cancellation_type) {
                    if (const auto waiting = weak.lock())
                        waiting->abort();
                });
            }
            begin(std::move(completion));
        };
        co_return co_await asio::async_initiate<const asio::use_awaitable_t<>,
                                                void(asio::error_code, T)>(
            std::move(initiate), asio::use_awaitable, std::move(start));
    }

private:
    void end(asio::error_code ec, T value) {
        std::move_only_function<void(asio::error_code, T)> resume;
        {
            const std::scoped_lock lock(mutex_);
            resume.swap(resume_);
        }
        if (resume)
            resume(ec, std::move(value));
    }

    std::mutex mutex_;
    std::move_only_function<void(asio::error_code, T)> resume_;  // guarded by mutex_
};

}  // namespace quillet
