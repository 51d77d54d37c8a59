#include "platform/AudioPlayer.h"

#include <utility>

#include "base/text/Translation.h"

namespace quillet {

std::chrono::milliseconds AudioPlayer::Sound::length() const {
    constexpr std::size_t msPerSecond = 1'000;
    const auto frames = samples.size() / static_cast<std::size_t>(channels);
    return std::chrono::milliseconds(frames * msPerSecond / static_cast<std::size_t>(sampleRate));
}

std::string_view sentenceOf(AudioPlayer::Error error) {
    switch (error) {
        case AudioPlayer::Error::noServer:
            return toTranslate(
                "The sound server cannot be reached — see whether other programs can play "
                "sound.");
        case AudioPlayer::Error::noDevice:
            return toTranslate(
                "There is nothing to play on — connect loudspeakers or headphones, then try "
                "again.");
        case AudioPlayer::Error::serverLost:
            return toTranslate("The sound server went away — try again in a moment.");
    }
    std::unreachable();
}

}  // namespace quillet
