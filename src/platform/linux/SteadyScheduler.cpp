#include "platform/linux/SteadyScheduler.h"

#include <pthread.h>

#include "base/async/Loop.h"

namespace quillet {

SteadyScheduler::SteadyScheduler(Loop& loop) : loop_(loop), thread_([this] { sleepAndFire(); }) {
    pthread_setname_np(thread_.native_handle(), "timers");
}

SteadyScheduler::~SteadyScheduler() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

Scheduler::TimePoint SteadyScheduler::now() const noexcept {
    return std::chrono::steady_clock::now();
}

asio::any_io_executor SteadyScheduler::executor() {
    return loop_.executor();
}

Scheduler::TimerId SteadyScheduler::arm(TimePoint at, Fire fire) {
    bool isNext = false;
    TimerId id = 0;
    {
        const std::scoped_lock lock(mutex_);
        id = nextId_++;
        deadlines_[id] = at;
        const auto place = timers_.emplace(Deadline{at, id}, std::move(fire)).first;
        isNext = place == timers_.begin();
    }
    if (isNext)
        changed_.notify_one();
    return id;
}

void SteadyScheduler::disarm(TimerId id) {
    Fire fire;
    {
        const std::scoped_lock lock(mutex_);
        const auto deadline = deadlines_.extract(id);
        if (deadline.empty())
            return;
        fire = std::move(timers_.extract(Deadline{deadline.mapped(), id}).mapped());
    }
    fire(asio::error::operation_aborted);
}

void SteadyScheduler::sleepAndFire() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (timers_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto next = timers_.begin()->first;
        if (std::chrono::steady_clock::now() < next.at) {
            changed_.wait_until(lock, next.at);
            continue;
        }
        Fire fire = std::move(timers_.extract(timers_.begin()).mapped());
        deadlines_.erase(next.id);
        lock.unlock();
        fire({});
        lock.lock();
    }
}

}  // namespace quillet
