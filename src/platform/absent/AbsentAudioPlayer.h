#pragma once

#include "base/async/Loop.h"
#include "platform/AudioPlayer.h"

namespace quillet {

/// A machine without sound: says so of whatever is to be played.
class AbsentAudioPlayer final : public AudioPlayer {
public:
    explicit AbsentAudioPlayer(Loop& loop) : loop_(loop) {}

    std::unique_ptr<Playback> play(Sound sound, std::chrono::milliseconds from,
                                   Listener listener) override;

private:
    Loop& loop_;
};

}  // namespace quillet
