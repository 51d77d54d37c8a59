#pragma once

#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"

namespace quillet {

/// A machine without microphone.
class AbsentAudioInput final : public AudioInput {
public:
    std::unique_ptr<Capture> start(AudioInputSink& sink) override;
    asio::awaitable<std::vector<std::string>> devices() override;
    asio::awaitable<std::vector<std::string>> otherUsers() override;
};

/// A machine without loudspeakers.
class AbsentAudioOutput final : public AudioOutput {
public:
    asio::awaitable<std::expected<State, Error>> state() override;
    asio::awaitable<std::expected<void, Error>> setMuted(std::string device, bool muted) override;
};

}  // namespace quillet
