#include "platform/linux/PulseAudioPlayer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <numbers>

#include "platform/DesktopFixture.h"
#include "platform/linux/PulseCallAudio.h"
#include "world/SimLoop.h"

namespace quillet::test {

namespace {

using namespace std::chrono_literals;

/// Hears what the loudspeakers play.
class Ear final : public CallAudioSink {
public:
    explicit Ear(Loop& loop) : loop_(loop) {}

    void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
        const auto loudest =
            std::ranges::max(samples, {}, [](std::int16_t s) { return std::abs(int{s}); });
        const std::scoped_lock lock(mutex_);
        isLoud_ = std::abs(int{loudest}) > 1'000;
        wasLoud_ = wasLoud_ || isLoud_;
        hears_ = true;
        loop_.enqueue([] {});
    }
    void stateChanged(State) noexcept override {}

    bool hears() const {
        return under([this] { return hears_; });
    }
    bool isLoud() const {
        return under([this] { return isLoud_; });
    }
    bool wasLoud() const {
        return under([this] { return wasLoud_; });
    }

private:
    template <class Read>
    bool under(Read read) const {
        const std::scoped_lock lock(mutex_);
        return read();
    }

    Loop& loop_;
    mutable std::mutex mutex_;
    bool hears_ = false;    // guarded by mutex_
    bool isLoud_ = false;   // guarded by mutex_
    bool wasLoud_ = false;  // guarded by mutex_
};

AudioPlayer::Sound tone(std::chrono::milliseconds length, int channels) {
    AudioPlayer::Sound sound{.samples = {}, .channels = channels};
    for (int i = 0; i < length.count() * 16; ++i) {
        const auto sample = static_cast<std::int16_t>(
            10'000 * std::sin(2 * std::numbers::pi * 440 * i / sound.sampleRate));
        sound.samples.insert(sound.samples.end(), static_cast<std::size_t>(channels), sample);
    }
    return sound;
}

class PulseAudioPlayerTest : public DesktopFixture {
protected:
    AudioPlayer::Listener listener() {
        return {[this](std::chrono::milliseconds position) { positions.push_back(position); },
                [this](std::optional<AudioPlayer::Error> why) {
                    ++ends;
                    error = why;
                    playback.reset();
                }};
    }

    std::vector<std::chrono::milliseconds> positions;
    int ends = 0;
    std::optional<AudioPlayer::Error> error;
    std::unique_ptr<AudioPlayer::Playback> playback;
};

TEST_F(PulseAudioPlayerTest, PlaysFromAPlaceToTheEndAndTellsWhereItIs) {
    PulseConnection connection(loop, Log(makeNullLogSink(), Log::PrivateText::hide));
    PulseCallAudio audio(connection, scheduler);
    Ear ear(loop);
    const auto hearing = audio.start(CallAudio::Side::systemAudio, ear);
    until([&] { return ear.hears(); });
    PulseAudioPlayer player(connection, scheduler);
    const auto began = scheduler.now();
    playback = player.play(tone(2'000ms, 2), 1'000ms, listener());
    until([&] { return ends == 1; });
    const auto took = scheduler.now() - began;
    EXPECT_FALSE(error);
    EXPECT_TRUE(ear.wasLoud());
    EXPECT_GT(took, 900ms) << "it was heard to its end";
    ASSERT_FALSE(positions.empty());
    EXPECT_LE(positions.size(), static_cast<std::size_t>(took / 100ms));
    EXPECT_TRUE(std::ranges::is_sorted(positions));
    EXPECT_GE(positions.front(), 1'000ms);
    EXPECT_LE(positions.back(), 2'000ms);
}

TEST_F(PulseAudioPlayerTest, PausesAndGoesOn) {
    PulseConnection connection(loop, Log(makeNullLogSink(), Log::PrivateText::hide));
    PulseCallAudio audio(connection, scheduler);
    Ear ear(loop);
    const auto hearing = audio.start(CallAudio::Side::systemAudio, ear);
    until([&] { return ear.hears(); });
    PulseAudioPlayer player(connection, scheduler);
    playback = player.play(tone(60'000ms, 1), 0ms, listener());
    until([&] { return ear.isLoud() && !positions.empty(); });
    playback->pause();
    until([&] { return !ear.isLoud(); });
    const auto told = positions.size();
    run([this]() -> asio::awaitable<void> { co_await scheduler.sleep(300ms); }());
    EXPECT_EQ(positions.size(), told) << "nothing moves while it is silent";
    playback->resume();
    until([&] { return ear.isLoud() && positions.size() > told; });
    EXPECT_LT(positions.back(), 5'000ms);
    playback.reset();
    until([&] { return !ear.isLoud(); });
    EXPECT_EQ(ends, 0) << "what the user ended tells nobody";
}

TEST_F(PulseAudioPlayerTest, IsStoppedWhileItsNextLookAtThePositionIsUnderWay) {
    world::SimLoop turns;
    world::SimScheduler time(turns);
    PulseConnection connection(turns, Log(makeNullLogSink(), Log::PrivateText::hide));
    PulseAudioPlayer player(connection, time);
    playback = player.play(tone(60'000ms, 1), 0ms, listener());
    time.drain();
    while (time.timerCount() > 0)
        time.step();  // the last one is over, and what follows it waits in the queue
    playback.reset();
    EXPECT_TRUE(positions.empty());
    EXPECT_EQ(ends, 0);
}

TEST_F(PulseAudioPlayerTest, SaysThatThereIsNoServer) {
    const std::string before = getenv("PULSE_SERVER");
    setenv("PULSE_SERVER", "unix:/nowhere/at/all", 1);
    PulseConnection connection(loop, Log(makeNullLogSink(), Log::PrivateText::hide));
    PulseAudioPlayer player(connection, scheduler);
    playback = player.play(tone(100ms, 1), 0ms, listener());
    until([&] { return ends == 1; });
    setenv("PULSE_SERVER", before.c_str(), 1);
    EXPECT_EQ(error, AudioPlayer::Error::noServer);
}

}  // namespace
}  // namespace quillet::test
