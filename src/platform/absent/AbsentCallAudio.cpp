#include "platform/absent/AbsentCallAudio.h"

namespace quillet {

namespace {

class NoCapture final : public CallAudio::Capture {
public:
    asio::awaitable<void> stop() override { co_return; }
};

}  // namespace

std::unique_ptr<CallAudio::Capture> AbsentCallAudio::start(Side, CallAudioSink& sink) {
    sink.stateChanged(CallAudioSink::State::unsupported);
    return std::make_unique<NoCapture>();
}

}  // namespace quillet
