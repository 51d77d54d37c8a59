#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

#include "platform/linux/GlibPointers.h"

namespace quillet {

/// Carries out asynchronous calls of GIO for a thread that waits for them. A call that takes too
/// long is cancelled and, should it not heed that, left behind.
class GioCalls {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    /// Starts one call, to which it hands these three.
    using Start = std::function<void(GCancellable*, GAsyncReadyCallback, gpointer)>;

    GioCalls();
    ~GioCalls();
    GioCalls(const GioCalls&) = delete;
    GioCalls& operator=(const GioCalls&) = delete;

    /// The result of the call that `start` starts; none when the deadline was over before it came.
    /// One thread at a time.
    [[nodiscard]] GRef<GAsyncResult> wait(const Start& start, TimePoint deadline);

    /// From now on no call is waited for, the present one neither. Any thread.
    void end();
    [[nodiscard]] bool hasEnded() const { return ended_; }

private:
    struct Answer;

    void turnUntil(const Answer& answer, TimePoint deadline);

    GMainContext* context_;
    std::atomic<bool> ended_ = false;
};

}  // namespace quillet
