#pragma once

#include <memory>

#include "base/async/Scheduler.h"
#include "platform/AudioInput.h"
#include "platform/linux/PulseConnection.h"

namespace quillet {

/// The microphone of a PulseAudio or PipeWire sound server. The connection stays open between
/// recordings; a stream exists only while one is made, so that no other program sees the microphone
/// in use.
class PulseAudioInput final : public AudioInput {
public:
    PulseAudioInput(PulseConnection& connection, Scheduler& scheduler, Log log);

    std::unique_ptr<Capture> start(AudioInputSink& sink) override;
    asio::awaitable<std::vector<std::string>> devices() override;
    asio::awaitable<std::vector<std::string>> otherUsers() override;

private:
    class PulseCapture;

    PulseConnection& connection_;
    Scheduler& scheduler_;
    Log log_;
};

}  // namespace quillet
