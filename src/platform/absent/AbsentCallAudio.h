#pragma once

#include "platform/CallAudio.h"

namespace quillet {

/// A system without sound. It has no audio thread: `start` tells the sink so itself.
class AbsentCallAudio final : public CallAudio {
public:
    std::unique_ptr<Capture> start(Side side, CallAudioSink& sink) override;
};

}  // namespace quillet
