#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/associated_cancellation_slot.hpp>
#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/error.hpp>
#include <asio/error_code.hpp>
#include <asio/post.hpp>
#include <asio/prefer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>

namespace quillet {

/// The monotonic clock and the only way to wait for time.
///
/// In the application it is the steady clock; in tests and simulation it is a virtual clock that
/// jumps to the next deadline. `now()` may be read on any thread; everything else belongs to the
/// thread of `executor()`.
class Scheduler {
public:
    using Duration = std::chrono::nanoseconds;
    using TimePoint = std::chrono::time_point<std::chrono::steady_clock, Duration>;
    using TimerId = std::uint64_t;

    virtual ~Scheduler() = default;

    [[nodiscard]] virtual TimePoint now() const noexcept = 0;
    [[nodiscard]] virtual asio::any_io_executor executor() = 0;

    /// Waits for `duration`. Cancelled, it throws operation_aborted at once.
    [[nodiscard]] asio::awaitable<void> sleep(Duration duration);

    template <class Token>
    auto asyncSleepUntil(TimePoint at, Token&& token) {
        return asio::async_initiate<Token, void(asio::error_code)>(
            [this, at](auto handler) {
                auto slot = asio::get_associated_cancellation_slot(handler);
                auto ex = asio::prefer(asio::get_associated_executor(handler, executor()),
                                       asio::execution::outstanding_work.tracked);
                const TimerId id =
                    arm(at, [h = std::move(handler), ex](asio::error_code ec) mutable {
                        asio::post(ex, [h = std::move(h), ec]() mutable { std::move(h)(ec); });
                    });
                if (slot.is_connected())
                    slot.assign([this, id](asio::cancellation_type) { disarm(id); });
            },
            token);
    }

protected:
    using Fire = std::move_only_function<void(asio::error_code)>;

    /// Calls `fire` once: with no error at `at`, or with operation_aborted on `disarm`.
    virtual TimerId arm(TimePoint at, Fire fire) = 0;
    /// A timer that has fired, or was never armed, is left alone.
    virtual void disarm(TimerId id) = 0;
};

}  // namespace quillet
