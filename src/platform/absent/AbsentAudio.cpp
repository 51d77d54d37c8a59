#include "platform/absent/AbsentAudio.h"

namespace quillet {

namespace {

class NoCapture final : public AudioInput::Capture {
public:
    asio::awaitable<void> stop() override { co_return; }
};

}  // namespace

std::unique_ptr<AudioInput::Capture> AbsentAudioInput::start(AudioInputSink& sink) {
    sink.captureEnded(AudioInputSink::Ending::noDevice);
    return std::make_unique<NoCapture>();
}

asio::awaitable<std::vector<std::string>> AbsentAudioInput::devices() {
    co_return std::vector<std::string>();
}

asio::awaitable<std::vector<std::string>> AbsentAudioInput::otherUsers() {
    co_return std::vector<std::string>();
}

asio::awaitable<std::expected<AudioOutput::State, AudioOutput::Error>> AbsentAudioOutput::state() {
    co_return std::unexpected(Error::unavailable);
}

asio::awaitable<std::expected<void, AudioOutput::Error>> AbsentAudioOutput::setMuted(std::string,
                                                                                     bool) {
    co_return std::unexpected(Error::unavailable);
}

}  // namespace quillet
