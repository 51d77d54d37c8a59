#include "base/async/Loop.h"

#include <utility>

namespace quillet {

namespace {

/// The loop whose work the current thread runs; a stack discipline, so nested loops work.
thread_local const Loop* runningLoop = nullptr;

class RunningHere {
public:
    explicit RunningHere(const Loop& loop) noexcept : previous_(runningLoop) {
        runningLoop = &loop;
    }
    ~RunningHere() { runningLoop = previous_; }
    RunningHere(const RunningHere&) = delete;
    RunningHere& operator=(const RunningHere&) = delete;

private:
    const Loop* previous_;
};

}  // namespace

Loop::~Loop() {
    close();
    destroy();
}

void Loop::close() {
    // Queued handlers may own coroutines whose frames refer to services of this context.
    std::deque<std::move_only_function<void()>> dropped;
    {
        const std::scoped_lock lock(mutex_);
        if (std::exchange(closed_, true))
            return;
        dropped.swap(queue_);
    }
    dropped.clear();
    shutdown();
}

void Loop::enqueue(std::move_only_function<void()> work) {
    const std::scoped_lock lock(mutex_);
    if (closed_)
        return;
    queue_.push_back(std::move(work));
    arrived_.notify_one();
    if (!std::exchange(wakePending_, true))
        wake();
}

bool Loop::runOne(bool rearm) {
    std::move_only_function<void()> work;
    {
        const std::scoped_lock lock(mutex_);
        wakePending_ = false;
        if (queue_.empty())
            return false;
        work = std::move(queue_.front());
        queue_.pop_front();
        // Armed before the work runs: it may start a nested event loop.
        if (rearm && !queue_.empty()) {
            wakePending_ = true;
            wake();
        }
    }
    const RunningHere here(*this);
    work();
    return true;
}

std::size_t Loop::drain(std::size_t limit) {
    std::size_t count = 0;
    while (count < limit && runOne(true))
        ++count;
    return count;
}

void Loop::waitAndDrainOne() {
    {
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [this] { return !queue_.empty(); });
    }
    runOne(true);
}

bool Loop::isRunningHere() const noexcept {
    return runningLoop == this;
}

}  // namespace quillet
