#pragma once

#include <array>
#include <asio/awaitable.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <span>

#include "base/async/Scheduler.h"
#include "meetings/SideTrack.h"
#include "platform/CallAudio.h"

namespace quillet {

class Loop;

/// Captures both sides of a meeting and hands them on side by side, in step with the clock. Belongs
/// to the main queue's thread but where said otherwise.
class MeetingInput {
public:
    using Side = CallAudio::Side;
    using State = CallAudioSink::State;

    /// A side that is further behind the other one is filled up with silence: 0.5 s.
    static constexpr std::int64_t longestLag = 8'000;

    struct Callbacks {
        /// The next samples of both sides, as many of either. On the audio threads, one call at a
        /// time; none after `stop` has completed.
        std::function<void(std::span<const std::int16_t> user, std::span<const std::int16_t> far)>
            samples;
        /// Main queue.
        std::function<void(Side, State)> stateChanged;
    };

    /// Begins to capture.
    MeetingInput(CallAudio& audio, Scheduler& scheduler, Loop& loop, Callbacks callbacks);
    ~MeetingInput();
    MeetingInput(const MeetingInput&) = delete;
    MeetingInput& operator=(const MeetingInput&) = delete;

    /// Ends after everything that was heard until now has been handed on.
    [[nodiscard]] asio::awaitable<void> stop();

private:
    class Sink;

    void arrived(Side side, std::span<const std::int16_t> samples);
    void handOn(std::int64_t until);
    [[nodiscard]] std::int64_t now() const;
    [[nodiscard]] SideTrack& track(Side side) { return tracks_[static_cast<std::size_t>(side)]; }

    Scheduler& scheduler_;
    Loop& loop_;
    Callbacks callbacks_;
    Scheduler::TimePoint began_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  // looked at on the main queue
    std::mutex lock_;
    std::array<SideTrack, 2> tracks_;  // guarded by lock_
    std::int64_t handedOn_ = 0;        // guarded by lock_
    std::array<std::unique_ptr<Sink>, 2> sinks_;
    std::array<std::unique_ptr<CallAudio::Capture>, 2> captures_;  // go before the sinks
};

}  // namespace quillet
