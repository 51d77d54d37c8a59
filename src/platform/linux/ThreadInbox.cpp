#include "platform/linux/ThreadInbox.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace quillet {

ThreadInbox::ThreadInbox() : wakeup_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeup_ < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

ThreadInbox::~ThreadInbox() {
    close(wakeup_);
}

void ThreadInbox::post(std::move_only_function<void()> work) {
    {
        const std::scoped_lock lock(mutex_);
        work_.push_back(std::move(work));
    }
    const std::uint64_t one = 1;
    // Can only fail when the counter is full, and then the thread is being woken anyhow.
    [[maybe_unused]] const auto written = write(wakeup_, &one, sizeof one);
}

void ThreadInbox::runAll() {
    std::vector<std::move_only_function<void()>> work;
    {
        const std::scoped_lock lock(mutex_);
        work.swap(work_);
    }
    for (auto& piece : work)
        piece();
}

void ThreadInbox::wait(int fd, std::optional<Deadline> deadline) {
    int timeout = -1;
    if (deadline) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            *deadline - std::chrono::steady_clock::now());
        timeout = static_cast<int>(std::max<std::int64_t>(left.count(), 0));
    }
    std::array<pollfd, 2> sources{{{fd, POLLIN, 0}, {wakeup_, POLLIN, 0}}};
    poll(sources.data(), sources.size(), timeout);
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = read(wakeup_, &count, sizeof count);
}

}  // namespace quillet
