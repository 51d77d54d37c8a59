#pragma once

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "Figures.h"
#include "base/async/Loop.h"
#include "base/async/TaskScope.h"

namespace quillet::bench {

/// Processor time of the calling thread, in ms.
[[nodiscard]] double threadTime();

/// A main queue that notes how long each piece of its work took.
class WatchedLoop final : public Loop {
public:
    ~WatchedLoop() override { close(); }

    /// Runs the task to its end and returns its result.
    template <class T>
    T run(asio::awaitable<T> task) {
        std::optional<T> result;
        TaskScope scope(*this);
        auto keep = [](asio::awaitable<T> inner, std::optional<T>& into) -> asio::awaitable<void> {
            into.emplace(co_await std::move(inner));
        };
        scope.spawn(keep(std::move(task), result));
        while (!scope.empty())
            runPiece();
        return std::move(result).value();
    }

    Figures pieces;
    double longest = 0;           ///< ms
    double itsProcessorTime = 0;  ///< of this thread, ms: the rest it waited, also for a processor

private:
    void runPiece() {
        {
            std::unique_lock lock(mutex_);
            woken_.wait(lock, [this] { return ready_; });
            ready_ = false;
        }
        std::size_t ran = 1;
        while (ran > 0) {
            const double before = threadTime();
            const auto took = timeOf([&] { ran = drain(1); });
            if (ran == 0)
                break;
            pieces.add(took);
            if (took.count() > longest) {
                longest = took.count();
                itsProcessorTime = threadTime() - before;
            }
        }
    }
    void wake() override {
        const std::scoped_lock lock(mutex_);
        ready_ = true;
        woken_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable woken_;
    bool ready_ = false;  // guarded by mutex_
};

/// What the process holds in memory, in MiB, once freed memory was given back.
[[nodiscard]] double residentMemory();
/// The most that it held since the last call of `forgetPeak`, in MiB.
[[nodiscard]] double peakMemory();
void forgetPeak();

}  // namespace quillet::bench
