#include "platform/absent/AbsentAudioPlayer.h"

namespace quillet {

namespace {

class NoPlayback final : public AudioPlayer::Playback {
public:
    NoPlayback(Loop& loop, AudioPlayer::Listener listener)
        : listener_(std::make_shared<AudioPlayer::Listener>(std::move(listener))) {
        loop.enqueue([weak = std::weak_ptr(listener_)] {
            const auto told = weak.lock();
            if (told && told->ended)
                told->ended(AudioPlayer::Error::noServer);
        });
    }
    void pause() override {}
    void resume() override {}

private:
    std::shared_ptr<AudioPlayer::Listener> listener_;  // gone with the playback
};

}  // namespace

std::unique_ptr<AudioPlayer::Playback> AbsentAudioPlayer::play(Sound /*sound*/,
                                                               std::chrono::milliseconds /*from*/,
                                                               Listener listener) {
    return std::make_unique<NoPlayback>(loop_, std::move(listener));
}

}  // namespace quillet
