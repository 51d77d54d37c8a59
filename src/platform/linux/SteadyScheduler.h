#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>

#include "base/async/Scheduler.h"

namespace quillet {

class Loop;

/// Real time: one thread that sleeps until the next deadline, and for ever when there is none.
/// Timers fire on the loop.
class SteadyScheduler final : public Scheduler {
public:
    explicit SteadyScheduler(Loop& loop);
    ~SteadyScheduler() override;

    TimePoint now() const noexcept override;
    asio::any_io_executor executor() override;

protected:
    TimerId arm(TimePoint at, Fire fire) override;
    void disarm(TimerId id) override;

private:
    struct Deadline {
        TimePoint at;
        TimerId id;
        friend auto operator<=>(const Deadline&, const Deadline&) = default;
    };

    void sleepAndFire();

    Loop& loop_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<Deadline, Fire> timers_;                   // guarded by mutex_
    std::unordered_map<TimerId, TimePoint> deadlines_;  // guarded by mutex_
    TimerId nextId_ = 1;                                // guarded by mutex_
    bool ending_ = false;                               // guarded by mutex_
    std::thread thread_;
};

}  // namespace quillet
