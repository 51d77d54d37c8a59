#include "platform/linux/PulseCallAudio.h"

#include <utility>

#include "base/async/Event.h"
#include "base/async/Loop.h"
#include "platform/linux/PulseDeviceFollower.h"

namespace quillet {

namespace {

/// How long the sink may be left without a word. A server that hangs says nothing for half a
/// minute.
constexpr std::chrono::milliseconds longestSilence{800};

/// What the sound thread asks of the main queue.
struct Retry {
    Event asked;
    std::chrono::milliseconds after{};
};

}  // namespace

class PulseCallAudio::PulseCapture final : public Capture {
public:
    PulseCapture(PulseCallAudio& owner, Side side, CallAudioSink& sink)
        : connection_(owner.connection_), scheduler_(owner.scheduler_) {
        const auto retry = std::make_shared<Retry>();
        follower_ = std::make_shared<PulseDeviceFollower>(
            connection_, side, sink,
            [loop = &connection_.loop(), retry](std::chrono::milliseconds after) {
                loop->enqueue([retry, after] {
                    retry->after = after;
                    retry->asked.set();
                });
            });
        {
            const auto held = connection_.lock();
            follower_->open();
        }
        watchdog_ = owner.tasks_.spawn(giveUpWaiting(connection_, scheduler_, follower_));
        retrying_ = owner.tasks_.spawn(keepTrying(connection_, scheduler_, follower_, retry));
    }

    ~PulseCapture() override {
        watchdog_.cancel();
        retrying_.cancel();
        const auto held = connection_.lock();
        follower_->close();
    }

    asio::awaitable<void> stop() override {
        auto drain = [follower = follower_](std::function<void()> done) {
            follower->drain(std::move(done));
        };
        co_await untilDrained(connection_, scheduler_, std::move(drain));
        const auto held = connection_.lock();
        follower_->close();
    }

private:
    using Follower = std::shared_ptr<PulseDeviceFollower>;

    static asio::awaitable<void> giveUpWaiting(PulseConnection& connection, Scheduler& scheduler,
                                               Follower follower) {
        co_await scheduler.sleep(longestSilence);
        const auto held = connection.lock();
        connection.post([follower = std::move(follower)] { follower->giveUpWaiting(); });
    }

    static asio::awaitable<void> keepTrying(PulseConnection& connection, Scheduler& scheduler,
                                            Follower follower, std::shared_ptr<Retry> retry) {
        for (;;) {
            co_await retry->asked.wait();
            retry->asked.reset();
            co_await scheduler.sleep(retry->after);
            const auto held = connection.lock();
            connection.post([follower] { follower->tryAgain(); });
        }
    }

    PulseConnection& connection_;
    Scheduler& scheduler_;
    Follower follower_;
    TaskHandle watchdog_;
    TaskHandle retrying_;
};

PulseCallAudio::PulseCallAudio(PulseConnection& connection, Scheduler& scheduler)
    : connection_(connection), scheduler_(scheduler), tasks_(connection.loop()) {}

std::unique_ptr<CallAudio::Capture> PulseCallAudio::start(Side side, CallAudioSink& sink) {
    return std::make_unique<PulseCapture>(*this, side, sink);
}

}  // namespace quillet
