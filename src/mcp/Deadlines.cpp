#include "mcp/Deadlines.h"

#include <asio/experimental/awaitable_operators.hpp>
#include <asio/use_awaitable.hpp>

namespace quillet {

using namespace asio::experimental::awaitable_operators;

Deadlines::Guard Deadlines::at(Scheduler::TimePoint time, std::function<void()> late) {
    const auto entry = entries_.emplace(time, Timed{std::move(late)});
    if (time < waitingFor_)
        earlier_.set();
    return {entries_, entry};
}

asio::awaitable<void> Deadlines::watch() {
    while (true) {
        earlier_.reset();
        waitingFor_ = callWhatIsDue();
        if (waitingFor_ == Scheduler::TimePoint::max())
            co_await earlier_.wait();
        else
            co_await (earlier_.wait() || scheduler_.sleep(waitingFor_ - now()));
    }
}

/// Returns when the next one is due; never, where there is none.
Scheduler::TimePoint Deadlines::callWhatIsDue() {
    for (auto& [time, timed] : entries_) {
        if (time > now())
            return time;
        if (!std::exchange(timed.isOver, true))
            timed.late();
    }
    return Scheduler::TimePoint::max();
}

}  // namespace quillet
