#pragma once

#include "base/async/Scheduler.h"
#include "platform/AudioPlayer.h"
#include "platform/linux/PulseConnection.h"

namespace quillet {

/// Plays on the default output of a PulseAudio or PipeWire sound server, and goes with the user to
/// another one. Belongs to the main queue's thread.
class PulseAudioPlayer final : public AudioPlayer {
public:
    PulseAudioPlayer(PulseConnection& connection, Scheduler& scheduler)
        : connection_(connection), scheduler_(scheduler) {}

    std::unique_ptr<Playback> play(Sound sound, std::chrono::milliseconds from,
                                   Listener listener) override;

private:
    PulseConnection& connection_;
    Scheduler& scheduler_;
};

}  // namespace quillet
