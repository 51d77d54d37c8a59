#pragma once

#include <asio/awaitable.hpp>
#include <functional>
#include <memory>

#include "platform/AudioInput.h"

namespace quillet {

/// Holds at most one running capture of the microphone. Belongs to the main queue's thread.
class AudioCaptureSession {
public:
    explicit AudioCaptureSession(AudioInput& input) : input_(input) {}

    /// Ends a capture that is still running, then starts. Returns at once.
    void start(AudioInputSink& sink) {
        capture_.reset();
        capture_ = input_.start(sink);
    }

    /// Ends the capture after what was said until now has arrived.
    [[nodiscard]] asio::awaitable<void> stop() {
        const auto ending = std::exchange(capture_, nullptr);
        if (ending)
            co_await ending->stop();
    }

    /// Ends the capture at once.
    void abort() { capture_.reset(); }

    [[nodiscard]] bool running() const { return capture_ != nullptr; }

private:
    AudioInput& input_;
    std::unique_ptr<AudioInput::Capture> capture_;
};

}  // namespace quillet
