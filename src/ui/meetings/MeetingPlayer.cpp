#include "ui/meetings/MeetingPlayer.h"

#include <algorithm>

#include "base/async/Checkpoint.h"
#include "meetings/Mixing.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr std::int64_t samplesPerMillisecond = 16;

}  // namespace

MeetingPlayer::MeetingPlayer(Services services, Listener listener)
    : services_(services), listener_(std::move(listener)), tasks_(services.loop) {}

void MeetingPlayer::play(std::string id, Position from, Position length) {
    running_.cancel();
    playback_.reset();
    isPlaying_ = true;
    running_ = tasks_.spawn(run(std::move(id), from, length));
    listener_.changed();
}

void MeetingPlayer::stop() {
    running_.cancel();
    playback_.reset();
    if (std::exchange(isPlaying_, false))
        listener_.changed();
}

asio::awaitable<void> MeetingPlayer::run(std::string id, Position from, Position length) {
    const auto end = [length](Position start) {
        return std::min<Position>(start + stretch, length);
    };
    error_.reset();
    auto sound = co_await load(id, from, end(from));
    co_await checkpoint();
    while (sound) {
        begin(std::move(*sound), from);
        from = end(from);
        sound = from < length ? co_await load(id, from, end(from)) : std::nullopt;
        co_await ended_.wait();
        co_await checkpoint();
        if (error_)
            listener_.failed(label(sentenceOf(*error_)));
        if (error_ || from >= length)
            break;
    }
    if (!error_ && from < length)
        listener_.failed(label("The meeting's audio cannot be read. It may have been deleted."));
    stop();
}

asio::awaitable<MeetingPlayer::Sound> MeetingPlayer::load(std::string id, Position from,
                                                          Position to) {
    auto sides = co_await services_.archive.load(
        std::move(id), from.count() * samplesPerMillisecond, to.count() * samplesPerMillisecond);
    if (!sides || sides->user.empty())
        co_return std::nullopt;
    auto mix = [sides = std::move(*sides)] { return mixed(sides.user, sides.far); };
    co_return AudioPlayer::Sound{.samples = co_await services_.worker.run(std::move(mix))};
}

void MeetingPlayer::begin(AudioPlayer::Sound sound, Position from) {
    ended_.reset();
    auto moved = [this, from](Position position) { listener_.moved(from + position); };
    auto ended = [this](std::optional<AudioPlayer::Error> error) {
        error_ = error;
        ended_.set();
    };
    playback_ =
        services_.player.play(std::move(sound), Position(0), {std::move(moved), std::move(ended)});
}

}  // namespace quillet
