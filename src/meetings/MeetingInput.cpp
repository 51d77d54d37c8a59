#include "meetings/MeetingInput.h"

#include "base/async/Checkpoint.h"
#include "base/async/Loop.h"

namespace quillet {

namespace {

constexpr std::int64_t framesPerSecond = 16'000;

}  // namespace

class MeetingInput::Sink final : public CallAudioSink {
public:
    Sink(MeetingInput& owner, Side side) : owner_(owner), side_(side) {}

    void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
        owner_.arrived(side_, samples);
    }
    void stateChanged(State state) noexcept override {
        owner_.loop_.enqueue(
            [alive = std::weak_ptr(owner_.alive_), &owner = owner_, side = side_, state] {
                if (!alive.expired())
                    owner.callbacks_.stateChanged(side, state);
            });
    }

private:
    MeetingInput& owner_;
    Side side_;
};

MeetingInput::MeetingInput(CallAudio& audio, Scheduler& scheduler, Loop& loop, Callbacks callbacks)
    : scheduler_(scheduler),
      loop_(loop),
      callbacks_(std::move(callbacks)),
      began_(scheduler.now()) {
    for (const auto side : {Side::microphone, Side::systemAudio}) {
        const auto index = static_cast<std::size_t>(side);
        sinks_[index] = std::make_unique<Sink>(*this, side);
        captures_[index] = audio.start(side, *sinks_[index]);
    }
}

MeetingInput::~MeetingInput() = default;

std::int64_t MeetingInput::now() const {
    using Frames = std::chrono::duration<std::int64_t, std::ratio<1, framesPerSecond>>;
    return std::chrono::floor<Frames>(scheduler_.now() - began_).count();
}

void MeetingInput::arrived(Side side, std::span<const std::int16_t> samples) {
    const std::scoped_lock lock(lock_);
    track(side).add(samples, now());
    const auto user = track(Side::microphone).end();
    const auto far = track(Side::systemAudio).end();
    handOn(std::max(std::min(user, far), std::max(user, far) - longestLag));
}

/// With the lock held.
void MeetingInput::handOn(std::int64_t until) {
    while (handedOn_ < until) {
        // After a long gap not all of it at once.
        handedOn_ = std::min(until, handedOn_ + framesPerSecond);
        for (auto& one : tracks_)
            one.pad(handedOn_);
        const auto user = track(Side::microphone).take(handedOn_);
        const auto far = track(Side::systemAudio).take(handedOn_);
        callbacks_.samples(user, far);
    }
}

asio::awaitable<void> MeetingInput::stop() {
    for (auto& capture : captures_) {
        if (capture)
            co_await capture->stop();
        co_await checkpoint();
        capture.reset();
    }
    const std::scoped_lock lock(lock_);
    for (auto& one : tracks_)
        one.finish();
    handOn(std::max(track(Side::microphone).end(), track(Side::systemAudio).end()));
}

}  // namespace quillet
