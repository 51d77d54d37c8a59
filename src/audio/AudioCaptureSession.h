#pragma once

#include <asio/awaitable.hpp>
#include <memory>

#include "platform/AudioInput.h"

namespace quillet {

/// Holds at most one running capture of the microphone. Belongs to the main queue's thread.
class AudioCaptureSession {
public:
    explicit AudioCaptureSession(AudioInput& input) : input_(input) {}

    /// Ends a capture that is still running, then starts. Returns at once. The sink is kept as long
    /// as the capture may call it.
    void start(std::shared_ptr<AudioInputSink> sink) {
        abort();
        capture_ = std::make_unique<Running>();
        capture_->sink = std::move(sink);
        capture_->capture = input_.start(*capture_->sink);
    }

    /// Ends the capture after what was said until now has arrived.
    [[nodiscard]] asio::awaitable<void> stop() {
        const auto ending = std::exchange(capture_, nullptr);
        if (ending)
            co_await ending->capture->stop();
    }

    /// Ends the capture at once.
    void abort() { capture_.reset(); }

private:
    struct Running {
        std::shared_ptr<AudioInputSink> sink;
        std::unique_ptr<AudioInput::Capture> capture;  // goes first
    };

    AudioInput& input_;
    std::unique_ptr<Running> capture_;
};

}  // namespace quillet
