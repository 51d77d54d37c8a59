#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quillet {

inline constexpr int audioSampleRate = 16'000;

/// Receives what a capture hears. Both calls come on the audio thread, never at the same time, and
/// never after the capture's `stop` has completed or the capture has been destroyed.
class AudioInputSink {
public:
    enum class Ending {
        noDevice,      ///< there is no microphone
        noPermission,  ///< the sound server refuses
        deviceLost,    ///< the microphone went away while recording
        serverLost,    ///< the sound server went away
    };

    virtual ~AudioInputSink() = default;
    /// 16 kHz mono samples, 10 to 50 ms at a time.
    virtual void samplesArrived(std::span<const std::int16_t> samples) noexcept = 0;
    /// The capture failed to start or ended by itself; nothing arrives any more.
    virtual void captureEnded(Ending why) noexcept = 0;
};

/// The microphone.
class AudioInput {
public:
    /// One running capture. Destroying it ends it at once and drops what is still under way.
    class Capture {
    public:
        virtual ~Capture() = default;
        /// Ends the capture after everything that was said until now has arrived at the sink,
        /// within 150 ms.
        [[nodiscard]] virtual asio::awaitable<void> stop() = 0;
    };

    virtual ~AudioInput() = default;

    /// Starts to capture and returns at once; a failure is told to the sink. Never records what the
    /// loudspeakers play in the place of a missing microphone. The sink outlives the capture.
    [[nodiscard]] virtual std::unique_ptr<Capture> start(AudioInputSink& sink) = 0;

    /// Names of the microphones, the default one first; empty when there is none or no server.
    [[nodiscard]] virtual asio::awaitable<std::vector<std::string>> devices() = 0;

    /// Names of other applications that record from a microphone now.
    [[nodiscard]] virtual asio::awaitable<std::vector<std::string>> otherUsers() = 0;
};

}  // namespace quillet
