#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/associated_cancellation_slot.hpp>
#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/post.hpp>
#include <asio/prefer.hpp>
#include <asio/use_awaitable.hpp>
#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace quillet {

/// Runs work one piece after another, away from the main queue: the place for databases, disks and
/// other libraries that block. Either on a thread of its own, or, in tests, on a given executor.
/// Destroying a queue with a thread of its own waits for the work that was handed to it.
class SerialQueue {
public:
    /// A queue with a thread of its own, which carries `name` in debuggers and `top`.
    explicit SerialQueue(const std::string& name);
    /// A queue on an executor that runs one piece at a time, such as a virtual clock's.
    explicit SerialQueue(asio::any_io_executor executor);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    [[nodiscard]] asio::any_io_executor executor() const { return executor_; }

    /// Appends work whose end nobody waits for. Any thread.
    void post(std::move_only_function<void()> work);
    /// Waits until everything that was posted so far has run. Any thread but the queue's own.
    void waitUntilIdle();

    /// Runs `work` on the queue and resumes the caller, on the caller's own executor, with what it
    /// returned or threw. Work that was started runs to its end, also for a cancelled caller.
    template <std::invocable Work>
    [[nodiscard]] asio::awaitable<std::invoke_result_t<Work&>> run(Work work) {
        using Result = std::invoke_result_t<Work&>;
        if constexpr (std::is_void_v<Result>) {
            auto wrapped = [work = std::move(work)]() mutable {
                work();
                return std::monostate{};
            };
            co_await runValue(std::move(wrapped));
        } else {
            co_return co_await runValue(std::move(work));
        }
    }
    /// The same of long work, which is told when the caller is cancelled and then ends early.
    template <std::invocable<std::stop_token> Work>
    [[nodiscard]] asio::awaitable<std::invoke_result_t<Work&, std::stop_token>> run(Work work) {
        std::stop_source stop;
        auto told = [work = std::move(work), token = stop.get_token()]() mutable {
            return work(token);
        };
        co_return co_await runValue(std::move(told), std::move(stop));
    }

private:
    template <class Work>
    asio::awaitable<std::invoke_result_t<Work&>> runValue(
        Work work, std::stop_source stop = std::stop_source(std::nostopstate)) {
        using Result = std::invoke_result_t<Work&>;
        auto start = [executor = executor_, stop = std::move(stop)](auto handler, Work job) {
            auto slot = asio::get_associated_cancellation_slot(handler);
            if (slot.is_connected() && stop.stop_possible())
                slot.assign([stop](asio::cancellation_type) mutable { stop.request_stop(); });
            auto back = asio::prefer(asio::get_associated_executor(handler),
                                     asio::execution::outstanding_work.tracked);
            asio::post(executor, [h = std::move(handler), job = std::move(job), back]() mutable {
                std::exception_ptr error;
                std::optional<Result> result;
                try {
                    result.emplace(job());
                } catch (...) {
                    error = std::current_exception();
                }
                asio::post(back, [h = std::move(h), error, result = std::move(result)]() mutable {
                    std::move(h)(error, std::move(result));
                });
            });
        };
        auto result =
            co_await asio::async_initiate<const asio::use_awaitable_t<>,
                                          void(std::exception_ptr, std::optional<Result>)>(
                std::move(start), asio::use_awaitable, std::move(work));
        co_return std::move(*result);
    }

    struct Thread;
    std::unique_ptr<Thread> thread_;  // none when the executor was given
    asio::any_io_executor executor_;
};

}  // namespace quillet
