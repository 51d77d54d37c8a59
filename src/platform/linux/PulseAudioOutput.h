#pragma once

#include "platform/AudioOutput.h"
#include "platform/linux/PulseConnection.h"

namespace quillet {

/// The loudspeakers of a PulseAudio or PipeWire sound server.
class PulseAudioOutput final : public AudioOutput {
public:
    explicit PulseAudioOutput(PulseConnection& connection) : connection_(connection) {}

    asio::awaitable<std::expected<State, Error>> state() override;
    asio::awaitable<std::expected<void, Error>> setMuted(std::string device, bool muted) override;

private:
    PulseConnection& connection_;
};

}  // namespace quillet
