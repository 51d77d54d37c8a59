#include "ui/history/RecordingPlayer.h"

#include "base/async/Checkpoint.h"
#include "ui/kit/UiText.h"

namespace quillet {

RecordingPlayer::RecordingPlayer(Services services, Listener listener)
    : services_(services), listener_(std::move(listener)), tasks_(services.loop) {}

void RecordingPlayer::play(std::string id) {
    starting_.cancel();
    playback_.reset();
    playing_ = id;
    starting_ = tasks_.spawn(start(std::move(id)));
    listener_.changed();
}

void RecordingPlayer::stop() {
    starting_.cancel();
    playback_.reset();
    if (!playing_)
        return;
    playing_.reset();
    listener_.changed();
}

asio::awaitable<void> RecordingPlayer::start(std::string id) {
    auto samples = co_await services_.archive.load(std::move(id));
    co_await checkpoint();
    if (!samples) {
        stop();
        listener_.failed(label("This recording cannot be read. It may have been deleted."));
        co_return;
    }
    AudioPlayer::Sound sound{.samples = std::move(*samples)};
    const auto length = sound.length();
    auto moved = [this, length](std::chrono::milliseconds position) {
        listener_.moved(position, length);
    };
    playback_ = services_.player.play(
        std::move(sound), std::chrono::milliseconds(0),
        {std::move(moved), [this](std::optional<AudioPlayer::Error> error) { ended(error); }});
}

void RecordingPlayer::ended(std::optional<AudioPlayer::Error> error) {
    stop();
    if (error)
        listener_.failed(label(sentenceOf(*error)));
}

}  // namespace quillet
