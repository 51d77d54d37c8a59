#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

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
#include "world/LoopbackServer.h"
#include "world/ScriptedLLM.h"
#include "world/ScriptedServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::bench {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int dictations = 40;
constexpr int vocabularySize = 5'000;
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
    asio::awaitable<std::expected<void, Error>> postReturn(ReturnStyle style) override {
        return real_.postReturn(style);
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

/// Who recognises, and who rewrites.
enum class Services { device, server, serverAndModel };

struct Measured {
    Figures firstSample;
    Figures drain;
    Figures stopToPaste;
};

/// Everything from the keyboard to the clipboard as in the application, without its windows.
class Bench {
public:
    using Desktop = std::unique_ptr<X11Desktop>;

    Bench(Desktop desktop, Desktop user, Services services)
        : x11_(std::move(desktop)), user_(std::move(user)) {
        const std::string said = "我们先把这个 feature 的 bug 修好 , 然后 review 一下 word17";
        for (int i = 0; i < dictations; ++i) {
            speechServer_.answer(200, nlohmann::json{{"text", said}}.dump());
            model_.answer(200, world::ScriptedLLM::responseWith(said));
        }
        settings_.change([&](QuilletSettings& record) {
            record.selectedLanguage = "English";
            record.dictationOutputMode = DictationOutputMode::raw;
            if (services == Services::device)
                return;
            record.sttEngineType = STTEngineType::cloud;
            record.sttEndpoint = speechServer_.url("/v1/audio/transcriptions");
            if (services == Services::server)
                return;
            record.dictationOutputMode = DictationOutputMode::smart;
            record.llmEnabled = true;
            record.llmBaseURL = model_.url("/v1");
        });
        std::vector<VocabularyDB::SyncEntry> entries;
        entries.reserve(vocabularySize);
        for (int i = 0; i < vocabularySize; ++i)
            entries.push_back(
                {fmt::format("word{}", i), fmt::format("Word {}", i), 1, 0, "manual"});
        (void)loop.run(vocabulary_.mergeFromSync(std::move(entries), {}));
    }

    void run(Measured& measured) {
        hotkeys_.start();
        for (int i = 0; i < dictations; ++i)
            loop.run(dictate(measured.firstSample, measured.drain, measured.stopToPaste));
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
    Desktop x11_;
    Desktop user_;  // whose keys are not ours
    world::LoopbackServer speechServer_;
    world::LoopbackServer model_;
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
    AppProfileStore profiles_{defaults_, log_};
    world::ScriptedPanel panel_;
    RecordingSession session_{{loop,
                               scheduler_,
                               calendar_,
                               *ids_,
                               notifications_,
                               settings_,
                               profiles_,
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
    argv.reserve(words.size() + 1);
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
    Measured device;
    Measured server;
    Measured model;
    Bench(std::move(*desktop), std::move(*user), Services::device).run(device);
    // A desktop's keyboard is watched once.
    for (auto& [services, measured] :
         {std::pair(Services::server, &server), std::pair(Services::serverAndModel, &model)}) {
        desktop = X11Desktop::open({}, Bench::loop, log);
        user = X11Desktop::open({}, Bench::loop, log);
        Bench(std::move(desktop.value()), std::move(user.value()), services).run(*measured);
    }
    for (const pid_t child : {editor, voice}) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    report.times("chord to first captured sample, connection warm", device.firstSample,
                 "p95 ≤ 60 ms");
    report.times("stop: what the sound server still held is drained", device.drain, "");
    report.times(
        "stop to paste posted, beyond that, the prescribed 50 ms and the recogniser's time",
        device.stopToPaste, "p95 ≤ 10 ms");
    report.times("the same with a speech server that answers at once, its HTTP included",
                 server.stopToPaste, "");
    report.times("the same with a language model that answers at once as well", model.stopToPaste,
                 "");
}

}  // namespace quillet::bench
