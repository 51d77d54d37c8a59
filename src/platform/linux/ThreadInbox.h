#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace quillet {

/// Work for a thread that spends its life waiting for a file descriptor.
class ThreadInbox {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    ThreadInbox();
    ~ThreadInbox();
    ThreadInbox(const ThreadInbox&) = delete;
    ThreadInbox& operator=(const ThreadInbox&) = delete;

    /// Hands work over and wakes the thread. Any thread.
    void post(std::move_only_function<void()> work);

    /// Runs what was handed over. Receiving thread only.
    void runAll();
    /// Waits until there is work, `fd` can be read, or the deadline is over. Receiving thread only.
    void wait(int fd, std::optional<Deadline> deadline);

private:
    int wakeup_;
    std::mutex mutex_;
    std::vector<std::move_only_function<void()>> work_;  // guarded by mutex_
};

}  // namespace quillet
