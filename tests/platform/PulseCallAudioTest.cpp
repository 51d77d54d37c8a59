#include "platform/linux/PulseCallAudio.h"

#include <signal.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <numbers>

#include "platform/AudioInput.h"
#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

using namespace std::chrono_literals;
using State = CallAudioSink::State;
using Side = CallAudio::Side;

/// Notes what arrives, and wakes the test's main queue.
class Ear final : public CallAudioSink {
public:
    explicit Ear(Loop& loop) : loop_(loop) {}

    void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
        const auto loudest =
            std::ranges::max(samples, {}, [](std::int16_t s) { return std::abs(int{s}); });
        const std::scoped_lock lock(mutex_);
        count_ += samples.size();
        loud_ = std::abs(int{loudest}) > 1'000;
        loop_.enqueue([] {});
    }
    void stateChanged(State state) noexcept override {
        const std::scoped_lock lock(mutex_);
        states_.push_back(state);
        loop_.enqueue([] {});
    }

    std::size_t count() const {
        const std::scoped_lock lock(mutex_);
        return count_;
    }
    /// Whether the latest samples are.
    bool isLoud() const {
        const std::scoped_lock lock(mutex_);
        return loud_;
    }
    std::vector<State> states() const {
        const std::scoped_lock lock(mutex_);
        return states_;
    }

private:
    Loop& loop_;
    mutable std::mutex mutex_;
    std::size_t count_ = 0;      // guarded by mutex_
    bool loud_ = false;          // guarded by mutex_
    std::vector<State> states_;  // guarded by mutex_
};

/// A module of the sound server, loaded as long as this lives.
class Module {
public:
    explicit Module(const std::string& arguments)
        : index_(std::stoi(outputOf("pactl load-module " + arguments))) {}
    ~Module() { std::system(("pactl unload-module " + std::to_string(index_)).c_str()); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

private:
    int index_;
};

/// A sound server of the test's own with one output. The environment names it as long as this
/// lives.
class OwnServer {
public:
    OwnServer() {
        setenv("PULSE_SERVER", ("unix:" + socket_).c_str(), 1);
        std::ofstream(script_) << "load-module module-native-protocol-unix auth-anonymous=1 socket="
                               << socket_
                               << "\nload-module module-null-sink sink_name=only norewinds=1\n";
    }
    ~OwnServer() {
        setenv("PULSE_SERVER", before_.c_str(), 1);
        std::filesystem::remove(script_);
    }
    OwnServer(const OwnServer&) = delete;
    OwnServer& operator=(const OwnServer&) = delete;

    void start() {
        // On the desktop's session bus there is a sound server already.
        process_.emplace(std::vector<std::string>{
            "env", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent", "pulseaudio", "-n", "-F",
            script_, "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
            "--high-priority=no", "--realtime=no", "--log-target=null"});
    }
    void kill() { process_.reset(); }
    void freeze() { process_->signal(SIGSTOP); }
    void thaw() { process_->signal(SIGCONT); }

private:
    const std::string before_ = getenv("PULSE_SERVER");
    const std::string socket_ = ::testing::TempDir() + "quillet-sound";
    const std::string script_ = socket_ + ".pa";
    std::optional<Program> process_;
};

class PulseCallAudioTest : public DesktopFixture {
protected:
    PulseCallAudioTest() {
        std::ofstream file(tone, std::ios::binary);
        for (int i = 0; i < 60 * audioSampleRate; ++i) {
            const auto sample = static_cast<std::int16_t>(
                10'000 * std::sin(2 * std::numbers::pi * 440 * i / audioSampleRate));
            file.write(reinterpret_cast<const char*>(&sample), sizeof sample);
        }
    }
    ~PulseCallAudioTest() override { std::filesystem::remove(tone); }

    /// Lets a program play a tone, as long as the result lives.
    [[nodiscard]] std::unique_ptr<Program> play(const std::string& device) const {
        return std::make_unique<Program>(std::vector<std::string>{"paplay", "--raw", "--rate=16000",
                                                                  "--channels=1", "--format=s16le",
                                                                  "--device=" + device, tone});
    }
    void untilState(const Ear& who, State state) {
        until([&] { return !who.states().empty() && who.states().back() == state; });
    }
    void untilLoud(const Ear& who) {
        until([&] { return who.isLoud(); });
    }
    void untilQuiet(const Ear& who) {
        until([&] { return who.count() > 0 && !who.isLoud(); });
    }

    const std::string tone = ::testing::TempDir() + "quillet-tone.raw";
    PulseConnection connection{loop, Log(makeNullLogSink(), Log::PrivateText::hide)};
    PulseCallAudio audio{connection, scheduler};
    Ear ear{loop};
};

TEST_F(PulseCallAudioTest, HearsEachSideAlone) {
    const auto farSide = audio.start(Side::systemAudio, ear);
    untilState(ear, State::running);
    EXPECT_EQ(outputOf("pactl list source-outputs | grep -c 'application.name = \"Quillet\"'"),
              "1\n")
        << "no microphone is in use";
    Ear near(loop);
    const auto ownSide = audio.start(Side::microphone, near);
    untilQuiet(near);
    {
        const auto playing = play("spk");
        untilLoud(ear);
        EXPECT_FALSE(near.isLoud());
    }
    untilQuiet(ear);
    const auto speaking = play("micfeed");
    untilLoud(near);
    EXPECT_FALSE(ear.isLoud());
}

TEST_F(PulseCallAudioTest, FollowsTheUserToAnotherOutput) {
    auto headset = std::make_unique<Module>("module-null-sink sink_name=headset norewinds=1");
    auto playing = play("headset");
    const auto capture = audio.start(Side::systemAudio, ear);
    untilQuiet(ear);
    shell("pactl set-default-sink headset");
    untilLoud(ear);
    playing.reset();
    untilQuiet(ear);
    headset.reset();
    shell("pactl set-default-sink spk");
    playing = play("spk");
    untilLoud(ear);
    EXPECT_EQ(ear.states(), std::vector{State::running}) << "it was never without a device";
}

TEST_F(PulseCallAudioTest, TellsThatTheOutputIsMuted) {
    shell("pactl set-sink-mute spk 1");
    const auto capture = audio.start(Side::systemAudio, ear);
    untilState(ear, State::muted);
    shell("pactl set-sink-mute spk 0");
    untilState(ear, State::running);
    shell("pactl set-sink-mute spk 1");
    untilState(ear, State::muted);
    shell("pactl set-sink-mute spk 0");
    untilState(ear, State::running);
    EXPECT_EQ(ear.states(),
              (std::vector{State::muted, State::running, State::muted, State::running}));
}

TEST_F(PulseCallAudioTest, WaitsForAMicrophoneAndNeverHearsTheLoudspeakersInItsPlace) {
    shell("pactl set-default-source spk.monitor");
    const auto playing = play("spk");
    const auto capture = audio.start(Side::microphone, ear);
    untilState(ear, State::noDevice);
    auto headset = std::make_unique<Module>(
        "module-remap-source source_name=headset "
        "master=micfeed.monitor");
    shell("pactl set-default-source headset");
    untilState(ear, State::running);
    untilQuiet(ear);
    headset.reset();
    shell("pactl set-default-source spk.monitor");
    untilState(ear, State::noDevice);
    const auto count = ear.count();
    shell("pactl set-default-source mic");
    until([&] { return ear.count() > count; });
    EXPECT_FALSE(ear.isLoud());
}

TEST_F(PulseCallAudioTest, StoppedItHasHeardEverythingAndHearsNothingMore) {
    OwnServer server;
    server.start();
    PulseConnection ownConnection(loop, Log(makeNullLogSink(), Log::PrivateText::hide));
    PulseCallAudio ownAudio(ownConnection, scheduler);
    const auto capture = ownAudio.start(Side::microphone, ear);
    untilState(ear, State::noDevice);
    const auto pipe = ::testing::TempDir() + "quillet-pipe";
    std::filesystem::remove(pipe);
    const Module source(
        "module-pipe-source source_name=pipe rate=16000 channels=1 format=s16le "
        "file=" +
        pipe);
    shell("pactl set-default-source pipe");
    untilState(ear, State::running);
    const std::vector<std::int16_t> said(audioSampleRate / 20, 10'000);
    const auto say = [&] {
        std::ofstream(pipe, std::ios::binary)
            .write(reinterpret_cast<const char*>(said.data()),
                   static_cast<std::streamsize>(said.size() * sizeof said[0]));
    };

    // The stop is asked for while all of it is still on its way.
    server.freeze();
    say();
    const auto asked = scheduler.now();
    TaskScope stopping(loop);
    stopping.spawn(capture->stop());
    loop.drain();
    server.thaw();
    until([&] { return stopping.empty(); });
    EXPECT_LT(scheduler.now() - asked, 150ms);
    EXPECT_EQ(ear.count(), said.size());

    say();
    shell("pactl set-default-source only.monitor");
    EXPECT_EQ(ear.count(), said.size());
    EXPECT_EQ(ear.states().back(), State::running);
    std::filesystem::remove(pipe);
}

TEST_F(PulseCallAudioTest, WaitsForTheServer) {
    OwnServer server;
    PulseConnection ownConnection(loop, Log(makeNullLogSink(), Log::PrivateText::hide));
    PulseCallAudio ownAudio(ownConnection, scheduler);
    const auto capture = ownAudio.start(Side::systemAudio, ear);
    untilState(ear, State::noServer);
    server.start();
    untilState(ear, State::running);
    server.kill();
    untilState(ear, State::noServer);
    const auto count = ear.count();
    server.start();
    untilState(ear, State::running);
    until([&] { return ear.count() > count; });

    // One that hangs says nothing at all.
    server.freeze();
    Ear patient(loop);
    const auto begin = scheduler.now();
    const auto late = ownAudio.start(Side::systemAudio, patient);
    untilState(patient, State::noServer);
    EXPECT_LT(scheduler.now() - begin, 1s);
    server.thaw();
    untilState(patient, State::running);
}

}  // namespace

}  // namespace quillet::test
