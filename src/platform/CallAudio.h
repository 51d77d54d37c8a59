#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <memory>
#include <span>

namespace quillet {

/// Receives what one side of a call sounds like. Both calls come on the audio thread, never at the
/// same time for one capture, and never after the capture's `stop` has completed or the capture has
/// been destroyed.
class CallAudioSink {
public:
    /// Whether there is anything to hear.
    enum class State {
        running,
        muted,         ///< the loudspeakers are muted, and nothing is heard of them
        noDevice,      ///< there is no such device at the moment
        noPermission,  ///< the sound server refuses
        noServer,      ///< there is no sound server at the moment
        unsupported,   ///< this system never lets an application hear this side
    };

    virtual ~CallAudioSink() = default;
    /// 16 kHz mono samples, 10 to 50 ms at a time. A device that is changed, or that sleeps, leaves
    /// a gap without samples.
    virtual void samplesArrived(std::span<const std::int16_t> samples) noexcept = 0;
    /// Told once at the beginning, within a second, and whenever it changes.
    virtual void stateChanged(State state) noexcept = 0;
};

/// Both sides of a call, for as long as a meeting takes. A capture never ends by itself: it follows
/// the user to another device and waits for one that went away, or for the sound server.
class CallAudio {
public:
    enum class Side {
        microphone,   ///< the user
        systemAudio,  ///< what the loudspeakers play: the far side
    };

    /// One running capture. Destroying it ends it at once and drops what is still under way.
    class Capture {
    public:
        virtual ~Capture() = default;
        /// Ends the capture after everything that was heard until now has arrived at the sink,
        /// within 150 ms.
        [[nodiscard]] virtual asio::awaitable<void> stop() = 0;
    };

    virtual ~CallAudio() = default;

    /// Starts to capture and returns at once. The microphone is the default one, and never what the
    /// loudspeakers play in its place. The sink outlives the capture.
    [[nodiscard]] virtual std::unique_ptr<Capture> start(Side side, CallAudioSink& sink) = 0;
};

}  // namespace quillet
