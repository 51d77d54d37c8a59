#include "platform/linux/TimerFdAlarm.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/use_awaitable.hpp>
#include <cerrno>
#include <system_error>

#include "base/async/Loop.h"

namespace quillet {

namespace {

/// Never before `time`, and never zero, which would be no time at all.
timespec asTimespec(Calendar::UnixTime time) {
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    const auto exact =
        std::max(std::chrono::ceil<nanoseconds>(time.time_since_epoch()), nanoseconds(1));
    const auto whole = std::chrono::floor<seconds>(exact);
    return {.tv_sec = whole.count(), .tv_nsec = (exact - whole).count()};
}

}  // namespace

asio::awaitable<void> TimerFdAlarm::waitUntil(Calendar::UnixTime time) {
    const int fd = timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK);
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), "timerfd_create");
    asio::posix::stream_descriptor timer(loop_.executor(), fd);
    const itimerspec setting{.it_interval = {}, .it_value = asTimespec(time)};
    if (timerfd_settime(fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &setting, nullptr) != 0) {
        if (errno == ECANCELED)
            co_return;  // the clock was set just now
        throw std::system_error(errno, std::generic_category(), "timerfd_settime");
    }
    // It can be read when the time has come and when the clock was set.
    co_await timer.async_wait(asio::posix::descriptor_base::wait_read, asio::use_awaitable);
}

}  // namespace quillet
