#pragma once

#include <pulse/stream.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "platform/AudioPlayer.h"

namespace quillet {

/// A stream that plays one sound on the sound server's default output.
///
/// Everything, its end too, with the connection's lock held. `ended` is called on the sound thread,
/// once and not after `close`.
class PulsePlayStream : public std::enable_shared_from_this<PulsePlayStream> {
public:
    using Ended = std::function<void(std::optional<AudioPlayer::Error>)>;

    PulsePlayStream(AudioPlayer::Sound sound, std::chrono::milliseconds from, Ended ended);
    ~PulsePlayStream() { close(); }
    PulsePlayStream(const PulsePlayStream&) = delete;
    PulsePlayStream& operator=(const PulsePlayStream&) = delete;

    /// Once; without a context the server is not there.
    void open(pa_context* context);
    void setPaused(bool paused);
    /// Where the listener is in the sound; none while it is not heard.
    [[nodiscard]] std::optional<std::chrono::milliseconds> position() const;
    void close();

private:
    void stateChanged();
    [[nodiscard]] AudioPlayer::Error failure() const;
    void write(std::size_t bytes);
    void drain();
    void end(std::optional<AudioPlayer::Error> error);

    AudioPlayer::Sound sound_;
    std::chrono::milliseconds from_;
    std::size_t next_;  // the first sample that was not handed over yet
    Ended ended_;
    pa_stream* stream_ = nullptr;  // none before it is opened and after it was closed
    bool isReady_ = false;
    bool isPaused_ = false;
    bool isOver_ = false;
};

}  // namespace quillet
