#include "platform/linux/PulseAudioPlayer.h"

#include "base/async/Checkpoint.h"
#include "base/async/Loop.h"
#include "base/async/TaskScope.h"
#include "platform/linux/PulsePlayStream.h"

namespace quillet {

namespace {

constexpr std::chrono::milliseconds betweenPositions{100};

class PulsePlayback final : public AudioPlayer::Playback {
public:
    PulsePlayback(PulseConnection& connection, Scheduler& scheduler, AudioPlayer::Sound sound,
                  std::chrono::milliseconds from, AudioPlayer::Listener listener)
        : connection_(connection),
          scheduler_(scheduler),
          listener_(std::make_shared<AudioPlayer::Listener>(std::move(listener))),
          tasks_(connection.loop()) {
        auto ended = [this, loop = &connection.loop(),
                      alive = std::weak_ptr(listener_)](std::optional<AudioPlayer::Error> error) {
            loop->enqueue([this, alive, error] {
                if (!alive.expired())
                    tellEnd(error);
            });
        };
        stream_ = std::make_shared<PulsePlayStream>(std::move(sound), from, std::move(ended));
        {
            const auto held = connection_.lock();
            connection_.whenReady([weak = std::weak_ptr(stream_)](pa_context* context) {
                if (const auto stream = weak.lock())
                    stream->open(context);
            });
        }
        following_ = tasks_.spawn(follow());
    }

    ~PulsePlayback() override {
        listener_.reset();  // whoever ends it is told nothing more
        const auto held = connection_.lock();
        stream_->close();
        stream_.reset();
    }

    void pause() override { setPaused(true); }
    void resume() override { setPaused(false); }

private:
    void setPaused(bool paused) {
        following_.cancel();
        {
            const auto held = connection_.lock();
            stream_->setPaused(paused);
        }
        if (!paused && !hasEnded_)
            following_ = tasks_.spawn(follow());
    }

    void tellEnd(std::optional<AudioPlayer::Error> error) {
        hasEnded_ = true;
        following_.cancel();
        // The listener may destroy this.
        const auto listener = listener_;
        if (listener->ended)
            listener->ended(error);
    }

    asio::awaitable<void> follow() {
        for (;;) {
            co_await scheduler_.sleep(betweenPositions);
            co_await checkpoint();  // the sleep may have ended just before it was all over
            if (const auto position = heard(); position && listener_->moved)
                listener_->moved(*position);
        }
    }
    std::optional<std::chrono::milliseconds> heard() {
        const auto held = connection_.lock();
        return stream_->position();
    }

    PulseConnection& connection_;
    Scheduler& scheduler_;
    std::shared_ptr<AudioPlayer::Listener> listener_;  // gone with the playback
    std::shared_ptr<PulsePlayStream> stream_;          // guarded by the connection's lock
    bool hasEnded_ = false;
    TaskHandle following_;
    TaskScope tasks_;
};

}  // namespace

std::unique_ptr<AudioPlayer::Playback> PulseAudioPlayer::play(Sound sound,
                                                              std::chrono::milliseconds from,
                                                              Listener listener) {
    return std::make_unique<PulsePlayback>(connection_, scheduler_, std::move(sound), from,
                                           std::move(listener));
}

}  // namespace quillet
