#include "memory/NightWork.h"

#include "memory/NightSchedule.h"

namespace quillet {

asio::awaitable<bool> NightWork::run() {
    isLeft_ = false;
    const auto last = reviewer_.state().lastRun;
    if (isDue(calendar_, last)) {
        const auto reviewed = co_await reviewer_.run();
        isLeft_ = !reviewed && reviewer_.wantsRetry();
        if (reviewer_.wasCancelled()) {
            done_ = calendar_.now();  // who said no to it means all of it
            co_return true;
        }
    }
    const auto distilled = co_await knowledge_.run();
    isLeft_ = isLeft_ || (!distilled && knowledge_.wantsRetry());
    if (!isLeft_)
        done_ = calendar_.now();
    co_return !isLeft_;
}

std::optional<Calendar::UnixTime> NightWork::lastRun() const {
    if (isLeft_)
        return std::nullopt;
    return std::max(done_, reviewer_.state().lastRun);
}

}  // namespace quillet
