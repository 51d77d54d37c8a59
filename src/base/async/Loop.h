#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/execution.hpp>
#include <asio/execution_context.hpp>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace quillet {

/// The main queue: runs posted work in order, one piece at a time, on the thread that drains it.
///
/// Any thread may post (through the executor). One thread, the owner's, drains. What wakes that
/// thread is the subclass's business: Qt's event loop in the application, a condition variable in
/// the command, the virtual clock in tests.
///
/// A loop must outlive every coroutine that runs on it.
class Loop : public asio::execution_context {
public:
    class Executor;

    Loop() = default;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    virtual ~Loop();

    [[nodiscard]] Executor executor() noexcept;

    /// Appends `work` to the queue. Any thread.
    void enqueue(std::move_only_function<void()> work);

    /// Runs queued work, at most `limit` pieces, and says how many were run. Owner's thread only.
    /// Work is taken out one piece at a time, so a nested drain (a modal dialog) goes on with the
    /// rest instead of waiting for it.
    std::size_t drain(std::size_t limit = 256);

    /// Waits until something is queued, then runs one piece. Owner's thread only. Used where an
    /// owner must see its cancelled work end before it goes.
    void waitAndDrainOne();

    /// Whether the calling thread is at this moment running work of this loop.
    [[nodiscard]] bool isRunningHere() const noexcept;

protected:
    /// Called, on any thread and under the queue's lock, when the queue needs a drain. Must neither
    /// run work nor enqueue any itself.
    virtual void wake() = 0;

    /// Ends the services that post by threads of their own and drops what is queued; what is
    /// enqueued from now on is dropped too. For the destructor of whoever implements `wake`.
    void close();

private:
    bool runOne(bool rearm);

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::move_only_function<void()>> queue_;  // guarded by mutex_
    bool wakePending_ = false;                           // guarded by mutex_
    bool closed_ = false;                                // guarded by mutex_
};

/// The executor of a Loop; satisfies what asio asks of one.
class Loop::Executor {
public:
    explicit Executor(Loop& loop, bool mayBlock = true) noexcept
        : loop_(&loop), mayRunInline_(mayBlock) {}

    friend bool operator==(const Executor&, const Executor&) noexcept = default;

    asio::execution_context& query(asio::execution::context_t) const noexcept { return *loop_; }
    asio::execution::blocking_t query(asio::execution::blocking_t) const noexcept {
        return mayRunInline_ ? asio::execution::blocking_t(asio::execution::blocking.possibly)
                             : asio::execution::blocking_t(asio::execution::blocking.never);
    }
    Executor require(asio::execution::blocking_t::never_t) const noexcept {
        return Executor(*loop_, false);
    }
    Executor require(asio::execution::blocking_t::possibly_t) const noexcept {
        return Executor(*loop_, true);
    }

    template <class F>
    void execute(F&& work) const {
        if (mayRunInline_ && loop_->isRunningHere()) {
            std::forward<F>(work)();
            return;
        }
        loop_->enqueue(std::forward<F>(work));
    }

private:
    Loop* loop_;
    bool mayRunInline_;
};

inline Loop::Executor Loop::executor() noexcept {
    return Executor(*this);
}

}  // namespace quillet
