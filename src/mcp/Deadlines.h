#pragma once

#include <asio/awaitable.hpp>
#include <functional>
#include <map>

#include "base/async/Event.h"
#include "base/async/Scheduler.h"

namespace quillet {

/// Does something about what lasts too long. However many things are timed, one timer runs. All
/// calls belong to the thread of the scheduler's executor.
class Deadlines {
    struct Timed {
        std::function<void()> late;
        bool isOver = false;
    };
    using Entries = std::multimap<Scheduler::TimePoint, Timed>;

public:
    /// One thing that is timed, as long as this lives.
    class Guard {
    public:
        Guard(Entries& entries, Entries::iterator entry) : entries_(entries), entry_(entry) {}
        ~Guard() { entries_.erase(entry_); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        Entries& entries_;
        Entries::iterator entry_;
    };

    explicit Deadlines(Scheduler& scheduler) : scheduler_(scheduler) {}

    /// Calls `late` at this time, which must not end a guard at once.
    [[nodiscard]] Guard at(Scheduler::TimePoint time, std::function<void()> late);
    [[nodiscard]] Scheduler::TimePoint now() const { return scheduler_.now(); }

    /// The task that keeps an eye on the clock.
    [[nodiscard]] asio::awaitable<void> watch();

private:
    Scheduler::TimePoint callWhatIsDue();

    Scheduler& scheduler_;
    Entries entries_;
    Event earlier_;  // one is to come before the one that is waited for
    Scheduler::TimePoint waitingFor_ = Scheduler::TimePoint::max();
};

}  // namespace quillet
