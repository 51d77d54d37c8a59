#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "Figures.h"
#include "app/HotkeyController.h"
#include "app/RecordingSession.h"
#include "base/async/CommandLoop.h"
#include "base/http/CurlHttpClient.h"
#include "platform/absent/AbsentFocusedField.h"
#include "platform/absent/AbsentKeychain.h"
#include "platform/absent/MemoryUserDefaults.h"
#include "platform/linux/PulseAudioInput.h"
#include "platform/linux/PulseAudioOutput.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "platform/linux/X11Desktop.h"
#include "world/ScriptedServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::bench {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int dictations = 40;
constexpr auto spokenFor = 600ms;
constexpr auto prescribedWait = 50ms;
constexpr KeyChord chord = {{Modifier::control, Modifier::option}, Key::space};

/// The real microphone, with the moment of the first sample noted.
class TimedInput final : public AudioInput, private AudioInputSink {
public:
    TimedInput(AudioInput& real, Loop& loop, Event& first)
        : real_(real), loop_(loop), first_(first) {}

    std::unique_ptr<Capture> start(AudioInputSink& sink) override {
        sink_ = &sink;
        heard_ = false;
        return std::make_unique<TimedCapture>(*this, real_.start(*this));
    }
    asio::awaitable<std::vector<std::string>> devices() override { return real_.devices(); }
    asio::awaitable<std::vector<std::string>> otherUsers() override { return real_.otherUsers(); }

    Clock::time_point firstSample;
    Clock::duration drain{};  // of the last stop: until all that was said had arrived

private:
    class TimedCapture final : public Capture {
    public:
        TimedCapture(TimedInput& owner, std::unique_ptr<Capture> real)
            : owner_(owner), real_(std::move(real)) {}
        asio::awaitable<void> stop() override {
            const auto begin = Clock::now();
            co_await real_->stop();
            owner_.drain = Clock::now() - begin;
        }

    private:
        TimedInput& owner_;
        std::unique_ptr<Capture> real_;
    };

    void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
        if (!std::exchange(heard_, true)) {
            firstSample = Clock::now();
            loop_.enqueue([this] { first_.set(); });
        }
        sink_->samplesArrived(samples);
    }
    void captureEnded(Ending why) noexcept override { sink_->captureEnded(why); }

    AudioInput& real_;
    Loop& loop_;
    Event& first_;
    AudioInputSink* sink_ = nullptr;
    bool heard_ = false;
};

/// The real keys, with the moment of the paste noted.
class TimedKeys final : public KeyPoster {
public:
    TimedKeys(KeyPoster& real, Event& pasted) : real_(real), pasted_(pasted) {}
    Modifiers heldModifiers() override { return real_.heldModifiers(); }
    asio::awaitable<std::expected<void, Error>> postPaste(PasteStyle style) override {
        auto posted = co_await real_.postPaste(style);
        at = Clock::now();
        pasted_.set();
        co_return posted;
    }
    asio::awaitable<std::expected<void, Error>> postKey(KeyChord keys) override {
        return real_.postKey(keys);
    }
    Clock::time_point at;

private:
    KeyPoster& real_;
    Event& pasted_;
};

/// A recogniser that takes no time.
class InstantTranscriber final : public OnDeviceTranscriber {
public:
    std::expected<void, Failure> supports(std::string_view) override { return {}; }
    std::unique_ptr<Stream> stream(std::string, OnPartial) override {
        return std::make_unique<InstantStream>();
    }
    asio::awaitable<std::expected<std::string, Failure>> recognise(
        std::shared_ptr<const std::vector<std::int16_t>>, std::string) override {
        co_return "words";
    }

private:
    class InstantStream final : public Stream {
        void feed(std::span<const std::int16_t>) override {}
        asio::awaitable<std::expected<std::string, Failure>> finish() override {
            co_return "words";
        }
    };
};

/// Everything from the keyboard to the clipboard as in the application, without its windows.
class Bench {
public:
    explicit Bench(std::unique_ptr<X11Desktop> desktop, std::unique_ptr<X11Desktop> user)
        : x11_(std::move(desktop)), user_(std::move(user)) {
        settings_.change([](QuilletSettings& record) { record.selectedLanguage = "English"; });
    }

    void run(Figures& firstSample, Figures& drain, Figures& stopToPaste) {
        hotkeys_.start();
        for (int i = 0; i < dictations; ++i)
            loop.run(dictate(firstSample, drain, stopToPaste));
        loop.run(close());
    }

    static inline CommandLoop loop;

private:
    asio::awaitable<int> dictate(Figures& firstSample, Figures& drain, Figures& stopToPaste) {
        first_.reset();
        pasted_.reset();
        const auto press = Clock::now();
        (void)co_await user_->keyPoster().postKey(chord);
        co_await first_.wait();
        firstSample.add(input_.firstSample - press);
        co_await scheduler_.sleep(spokenFor);
        const auto stop = Clock::now();
        (void)co_await user_->keyPoster().postKey(chord);
        co_await pasted_.wait();
        drain.add(input_.drain);
        stopToPaste.add(keys_.at - stop - prescribedWait - input_.drain);
        co_await scheduler_.sleep(900ms);
        co_return 0;
    }
    asio::awaitable<int> close() {
        co_await session_.shutDown();
        co_return 0;
    }

    Log log_{makeNullLogSink(), Log::PrivateText::hide};
    world::TemporaryFolder folder_;
    std::unique_ptr<X11Desktop> x11_;
    std::unique_ptr<X11Desktop> user_;  // whose keys are not ours
    Event first_;
    Event pasted_;
    SteadyScheduler scheduler_{loop};
    SystemCalendar calendar_;
    std::shared_ptr<KernelIds> ids_ = std::make_shared<KernelIds>();
    NotificationCenter notifications_;
    MemoryUserDefaults defaults_;
    AbsentKeychain keychain_;
    AbsentFocusedField field_;
    AppSettings settings_{defaults_, keychain_, notifications_, log_};
    PulseConnection pulse_{loop, log_};
    PulseAudioInput realInput_{pulse_, scheduler_, log_};
    TimedInput input_{realInput_, loop, first_};
    PulseAudioOutput output_{pulse_};
    TimedKeys keys_{x11_->keyPoster(), pasted_};
    OutputMuter muter_{output_, folder_.path() / "muted.json", loop, log_};
    RecordingArchive archive_{folder_.path() / "Recordings", calendar_, log_, nullptr};
    InstantTranscriber transcriber_;
    CurlHttpClient http_;
    SpeechClient client_{http_, scheduler_, *ids_, log_};
    VocabularyDB vocabulary_{{folder_.path() / "vocabulary.db", {}}, log_, nullptr};
    LLMRefiner refiner_{{http_, settings_, {}, log_}};
    SessionStore history_{folder_.path() / "sessions.db", {}, ids_, log_, nullptr, nullptr};
    world::ScriptedPanel panel_;
    RecordingSession session_{{loop,
                               scheduler_,
                               calendar_,
                               *ids_,
                               notifications_,
                               settings_,
                               input_,
                               muter_,
                               archive_,
                               transcriber_,
                               client_,
                               refiner_,
                               vocabulary_,
                               history_,
                               panel_,
                               {scheduler_, loop, x11_->pasteboard(), keys_, x11_->inputSource(),
                                x11_->frontApplication(), field_, log_},
                               log_}};
    HotkeyController hotkeys_{{x11_->keyboardMonitor(), scheduler_, loop, notifications_, settings_,
                               session_, panel_, log_}};
};

pid_t spawn(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    return ::posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) == 0 ? child : 0;
}

}  // namespace

void measureDictation(Report& report) {
    constexpr const char* what = "chord to paste on a real desktop";
    if (::getenv("DISPLAY") == nullptr || ::getenv("PULSE_SERVER") == nullptr) {
        report.skipped(what, "run it in scripts/virtual-desktop");
        return;
    }
    const Log log(makeNullLogSink(), Log::PrivateText::hide);
    auto desktop = X11Desktop::open({}, Bench::loop, log);
    auto user = X11Desktop::open({}, Bench::loop, log);
    if (!desktop || !user) {
        report.skipped(what, "the display cannot be opened");
        return;
    }
    // An editor to paste into, and a voice that does not stop.
    const pid_t editor = spawn({"mousepad", "--disable-server"});
    const pid_t voice = spawn({"sh", "-c",
                               "exec sox -q -n -t wav -r 16000 -c 1 - synth 600 sine 200:3000 "
                               "tremolo 3 90 vol 0.3 | paplay --device=micfeed"});
    while (!(*desktop)->frontApplication().current())
        ::usleep(20'000);
    Figures firstSample;
    Figures drain;
    Figures stopToPaste;
    {
        Bench bench(std::move(*desktop), std::move(*user));
        bench.run(firstSample, drain, stopToPaste);
    }
    for (const pid_t child : {editor, voice}) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    report.times("chord to first captured sample, connection warm", firstSample, "p95 ≤ 60 ms");
    report.times("stop: what the sound server still held is drained", drain, "");
    report.times(
        "stop to paste posted, beyond that, the prescribed 50 ms and the recogniser's time",
        stopToPaste, "p95 ≤ 10 ms");
}

}  // namespace quillet::bench
