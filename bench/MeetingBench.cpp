#include <fmt/format.h>

#include <atomic>
#include <cmath>
#include <future>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "Figures.h"
#include "WatchedLoop.h"
#include "base/text/Text.h"
#include "meetings/MeetingTranscriber.h"
#include "platform/absent/AbsentKeychain.h"
#include "platform/absent/MemoryUserDefaults.h"
#include "platform/linux/SystemServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::bench {

namespace {

using nlohmann::json;
using Side = CallAudio::Side;

constexpr std::int64_t second = 16'000;
constexpr std::int64_t hours = 3;
constexpr std::int64_t frames = hours * 3'600 * second;
constexpr std::size_t chunk = 320;
constexpr double mebibyte = 1 << 20;

/// A clock that the audio moves, so that three hours pass in seconds. Nothing waits for it.
class AudioClock final : public Scheduler {
public:
    explicit AudioClock(Loop& loop) : loop_(loop) {}
    TimePoint now() const noexcept override {
        return TimePoint(std::chrono::nanoseconds(heard.load() * 62'500));
    }
    asio::any_io_executor executor() override { return loop_.executor(); }

    std::atomic<std::int64_t> heard{0};  ///< frames

protected:
    TimerId arm(TimePoint, Fire fire) override {
        waiting_[++last_] = std::move(fire);
        return last_;
    }
    void disarm(TimerId id) override {
        if (auto node = waiting_.extract(id))
            node.mapped()(asio::error::operation_aborted);
    }

private:
    Loop& loop_;
    TimerId last_ = 0;
    std::map<TimerId, Fire> waiting_;
};

/// Both sides of a call, pushed as fast as they are taken.
class Call final : public CallAudio {
public:
    std::unique_ptr<Capture> start(Side side, CallAudioSink& sink) override {
        sinks[static_cast<std::size_t>(side)] = &sink;
        sink.stateChanged(CallAudioSink::State::running);
        return std::make_unique<Ended>();
    }
    std::array<CallAudioSink*, 2> sinks{};

private:
    class Ended final : public Capture {
        asio::awaitable<void> stop() override { co_return; }
    };
};

/// A speech server that answers at once, and tells of parts.
class InstantServer final : public HttpClient {
public:
    explicit InstantServer(std::string body) {
        answer_.status = 200;
        answer_.body = std::move(body);
    }
    asio::awaitable<Result> perform(HttpRequest request) override {
        ++requests;
        bytes += static_cast<double>(request.body->size());
        co_return answer_;
    }
    void prewarm(std::string_view) override {}

    int requests = 0;
    double bytes = 0;

private:
    HttpResponse answer_;
};

class SilentSink final : public LogSink {
    void write(LogLevel, std::string_view, std::string_view) override {}
};

class NoTranscriber final : public OnDeviceTranscriber {
    std::expected<void, Failure> supports(std::string_view) override {
        return std::unexpected(Failure::unavailable);
    }
    std::unique_ptr<Stream> stream(std::string, OnPartial) override { return nullptr; }
    asio::awaitable<std::expected<std::string, Failure>> recognise(
        std::shared_ptr<const std::vector<std::int16_t>>, std::string) override {
        co_return std::unexpected(Failure::unavailable);
    }
};

/// Eight seconds of one side, then of the other, with pauses of a second between.
std::int16_t voice(Side side, std::int64_t at) {
    const auto inTurn = at % (18 * second);
    const bool mine = inTurn < 8 * second;
    const bool theirs = inTurn >= 9 * second && inTurn < 17 * second;
    const bool breath = at % second < 1'600;
    if (breath || (side == Side::microphone ? !mine : !theirs))
        return static_cast<std::int16_t>(at % 7);
    return static_cast<std::int16_t>(4'000 * std::sin(static_cast<double>(at) * 0.07));
}

void play(Call& call, AudioClock& clock, SerialQueue& disk) {
    std::vector<std::int16_t> user(chunk);
    std::vector<std::int16_t> far(chunk);
    for (std::int64_t at = 0; at < frames; at += chunk) {
        for (std::size_t i = 0; i < chunk; ++i) {
            user[i] = voice(Side::microphone, at + static_cast<std::int64_t>(i));
            far[i] = voice(Side::systemAudio, at + static_cast<std::int64_t>(i));
        }
        clock.heard = at + static_cast<std::int64_t>(chunk);
        call.sinks[0]->samplesArrived(user);
        call.sinks[1]->samplesArrived(far);
        if (at % (10 * second) == 0)
            disk.waitUntilIdle();
    }
}

void measureThreeHours(Report& report) {
    world::TemporaryFolder folder;
    const Log log(std::make_shared<SilentSink>(), Log::PrivateText::hide);
    WatchedLoop loop;
    AudioClock clock(loop);
    SystemCalendar calendar;
    KernelIds ids;
    NotificationCenter notifications;
    MemoryUserDefaults defaults;
    AbsentKeychain keychain;
    AppSettings settings(defaults, keychain, notifications, log);
    settings.change([](QuilletSettings& record) {
        record.sttEngineType = STTEngineType::cloud;
        record.sttEndpoint = "https://stt.example.org/v1/audio/transcriptions";
    });
    InstantServer server(
        R"({"text": "a b", "segments": [{"start": 1, "end": 8, "text": "words that were said"},)"
        R"( {"start": 10, "end": 17, "text": "and what was answered to them"}]})");
    SpeechClient speech(server, clock, ids, log);
    NoTranscriber device;
    const auto nothing = [](int) -> asio::awaitable<LLMRefiner::Memory> {
        co_return LLMRefiner::Memory{};
    };
    LLMRefiner llm({server, settings, nothing, log});
    const auto disk = std::make_shared<SerialQueue>("meetings");
    SerialQueue worker("memory");
    MeetingArchive archive(folder.path() / "audio", calendar, log, disk);
    MeetingLibrary library(folder.path() / "notes", nullptr);
    Call call;
    MeetingTranscriber meetings({loop, clock, calendar, ids, notifications, settings, call, speech,
                                 device, llm, archive, library, worker, nothing,
                                 [](const std::string&, const std::string&) {}, log});
    if (!loop.run(meetings.start()))
        return report.skipped("meeting of three hours", "it could not be started");
    (void)toSimplifiedChinese("x");  // loads its tables when it is first used
    const double before = residentMemory();
    forgetPeak();
    loop.longest = 0;
    loop.pieces = {};
    MeetingTranscriber::Finished finished;
    const auto took = timeOf([&] {
        const auto whole = [&]() -> asio::awaitable<MeetingTranscriber::Finished> {
            SerialQueue player("player");
            co_await player.run([&] { play(call, clock, *disk); });
            co_return co_await meetings.stop();
        };
        finished = loop.run(whole());
    });
    if (!finished || !*finished)
        return report.skipped("meeting of three hours", "it was not written");
    report.figure("meeting of three hours: time for all of it",
                  fmt::format("{:.1f} s", took.count() / 1'000), "");
    report.figure("meeting of three hours: sent",
                  fmt::format("{} pieces, {:.0f} MiB", server.requests, server.bytes / mebibyte),
                  "");
    report.figure("meeting of three hours: most memory beyond the rest",
                  fmt::format("{:.1f} MiB", peakMemory() - before), "");
    report.figure("meeting of three hours: longest work on the main queue",
                  fmt::format("{:.2f} ms, {:.2f} of the processor (p99 {:.2f})", loop.longest,
                              loop.itsProcessorTime, loop.pieces.percentile(99)),
                  "5 ms");
}

/// A sound card of its own speed, late by up to 30 ms, whose samples tell when they were taken.
void playCard(SideTrack& track, double speed, std::int64_t& sent, std::int64_t until,
              std::mt19937& random) {
    std::uniform_int_distribution<std::int64_t> late(0, 480);
    std::vector<std::int16_t> samples(chunk);
    std::int64_t last = 0;
    while (static_cast<double>(sent + static_cast<std::int64_t>(chunk)) / speed <
           static_cast<double>(until)) {
        for (std::size_t i = 0; i < chunk; ++i) {
            const auto taken = static_cast<double>(sent + static_cast<std::int64_t>(i)) / speed;
            samples[i] = static_cast<std::int16_t>(static_cast<std::int64_t>(taken / 4) % 30'000);
        }
        sent += static_cast<std::int64_t>(chunk);
        last = std::max(
            last, static_cast<std::int64_t>(static_cast<double>(sent) / speed) + late(random));
        track.add(samples, last);
    }
}

/// How far apart two cards' samples come to lie that were taken at the same time.
void measureDrift(Report& report) {
    std::mt19937 random(11);
    SideTrack user;
    SideTrack far;
    std::int64_t userSent = 0;
    std::int64_t farSent = 0;
    double worst = 0;
    double atEnd = 0;
    for (std::int64_t now = second; now <= frames; now += second) {
        playCard(user, 1.0001, userSent, now, random);
        playCard(far, 0.9999, farSent, now, random);
        const auto until = std::min(user.end(), far.end());
        const auto mine = user.take(until);
        const auto theirs = far.take(until);
        if (mine.empty())
            continue;
        auto apart = std::abs(mine.back() - theirs.back());
        apart = std::min(apart, 30'000 - apart);
        atEnd = apart * 4 / 16.0;
        if (now > 60 * second)
            worst = std::max(worst, atEnd);
    }
    report.figure(
        "meeting of three hours: both sides apart, cards 200 ppm apart (worst, at the end)",
        fmt::format("{:.1f} ms, {:.1f} ms (uncorrected: 2160 ms)", worst, atEnd), "");
}

}  // namespace

void measureMeeting(Report& report) {
    measureThreeHours(report);
    measureDrift(report);
}

}  // namespace quillet::bench
