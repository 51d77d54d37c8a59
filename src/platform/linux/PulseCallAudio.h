#pragma once

#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "platform/CallAudio.h"
#include "platform/linux/PulseConnection.h"

namespace quillet {

/// Both sides of a call by a PulseAudio or PipeWire sound server: its default source, and what its
/// default sink plays.
class PulseCallAudio final : public CallAudio {
public:
    PulseCallAudio(PulseConnection& connection, Scheduler& scheduler);

    std::unique_ptr<Capture> start(Side side, CallAudioSink& sink) override;

private:
    class PulseCapture;

    PulseConnection& connection_;
    Scheduler& scheduler_;
    TaskScope tasks_;
};

}  // namespace quillet
