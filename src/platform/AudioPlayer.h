#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace quillet {

/// The loudspeakers, for what the program plays.
class AudioPlayer {
public:
    enum class Error {
        noServer,    ///< there is no sound server, or it does not answer to us
        noDevice,    ///< there is nothing to play on
        serverLost,  ///< it went away while something was played
    };

    /// 16-bit samples; of two channels by turns, left and right.
    struct Sound {
        std::vector<std::int16_t> samples;
        int channels = 1;
        int sampleRate = 16'000;

        [[nodiscard]] std::chrono::milliseconds length() const;
    };

    /// Called on the main queue, never within a call to the player, and not any more once the
    /// playback is destroyed. `ended` may destroy it, `moved` may not.
    struct Listener {
        /// Where in the sound it is, at most ten times a second and only while it is heard.
        std::function<void(std::chrono::milliseconds position)> moved;
        /// It was played to its end, or cannot be played any further. Comes once.
        std::function<void(std::optional<Error> error)> ended;
    };

    /// Something that is being played. Destroying it ends it at once.
    class Playback {
    public:
        virtual ~Playback() = default;
        /// Falls silent at once and keeps the place.
        virtual void pause() = 0;
        virtual void resume() = 0;
    };

    virtual ~AudioPlayer() = default;

    /// Starts to play and returns at once; `from` behind the end is the end. A failure is told to
    /// the listener.
    [[nodiscard]] virtual std::unique_ptr<Playback> play(Sound sound,
                                                         std::chrono::milliseconds from,
                                                         Listener listener) = 0;
};

/// What is said of a failure, and what to do about it.
[[nodiscard]] std::string_view sentenceOf(AudioPlayer::Error error);

}  // namespace quillet
