#pragma once

#include <functional>
#include <map>
#include <stdexcept>

#include "base/async/Loop.h"
#include "base/async/Scheduler.h"
#include "platform/Calendar.h"
#include "platform/IdSource.h"

namespace quillet::world {

/// A loop that nothing wakes: the story drains it.
class SimLoop final : public Loop {
public:
    SimLoop() = default;
    ~SimLoop() override { close(); }

private:
    void wake() override {}
};

/// Time that stands still until the story moves it.
class SimScheduler final : public Scheduler {
public:
    explicit SimScheduler(SimLoop& loop) : loop_(loop) {}

    TimePoint now() const noexcept override { return now_; }
    asio::any_io_executor executor() override { return loop_.executor(); }

    /// Runs everything that is ready, without moving time.
    void drain() {
        while (loop_.drain() > 0) {
        }
    }
    /// Runs one piece of what is ready or, when nothing is, moves time to the next deadline.
    void step() {
        if (loop_.drain(1) > 0 || timers_.empty())
            return;
        auto node = timers_.extract(timers_.begin());
        now_ = std::max(now_, node.key().first);
        deadlines_.erase(node.key().second);
        node.mapped()({});
    }
    /// Moves time, stopping at every deadline on the way.
    void advance(Duration by) {
        const auto end = now_ + by;
        turn();
        while (!timers_.empty() && timers_.begin()->first.first <= end) {
            auto node = timers_.extract(timers_.begin());
            now_ = std::max(now_, node.key().first);
            deadlines_.erase(node.key().second);
            node.mapped()({});
            turn();
        }
        now_ = end;
    }
    [[nodiscard]] std::size_t timerCount() const { return timers_.size(); }

    std::function<void()> afterTurn;  ///< called at every stop of `advance`

protected:
    TimerId arm(TimePoint at, Fire fire) override {
        const TimerId id = nextId_++;
        deadlines_[id] = at;
        timers_.emplace(std::pair{at, id}, std::move(fire));
        return id;
    }
    void disarm(TimerId id) override {
        const auto deadline = deadlines_.extract(id);
        if (deadline.empty())
            return;
        auto node = timers_.extract({deadline.mapped(), id});
        node.mapped()(asio::error::operation_aborted);
    }

private:
    void turn() {
        drain();
        if (afterTurn)
            afterTurn();
    }

    SimLoop& loop_;
    TimePoint now_{std::chrono::hours(1)};
    TimerId nextId_ = 1;
    std::map<std::pair<TimePoint, TimerId>, Fire> timers_;
    std::map<TimerId, TimePoint> deadlines_;
};

/// Wall-clock time that follows the virtual clock.
class SimCalendar final : public Calendar {
public:
    explicit SimCalendar(const Scheduler& scheduler)
        : scheduler_(scheduler), start_(scheduler.now()) {}

    UnixTime now() const override {
        return UnixTime(std::chrono::duration<double>(1'750'000'000)) +
               std::chrono::duration_cast<std::chrono::duration<double>>(scheduler_.now() - start_);
    }
    std::chrono::local_seconds local(UnixTime time) const override {
        return std::chrono::local_seconds(
            std::chrono::floor<std::chrono::seconds>(time.time_since_epoch()));
    }

private:
    const Scheduler& scheduler_;
    Scheduler::TimePoint start_;
};

/// Ids that count.
class SimIds final : public IdSource {
public:
    std::string uuid() override {
        const auto digits = std::to_string(++last_);
        return "00000000-0000-4000-8000-" + std::string(12 - digits.size(), '0') + digits;
    }

private:
    int last_ = 0;
};

}  // namespace quillet::world
