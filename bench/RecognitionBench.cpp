#include <fmt/format.h>

#include <fstream>

#include "Figures.h"
#include "base/async/CommandLoop.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "speech/VoskTranscriber.h"

namespace quillet::bench {

namespace {

using namespace std::chrono_literals;

constexpr const char* speechFile = "/usr/share/pocketsphinx/test/data/goforward.raw";
constexpr std::size_t samplesPerBuffer = 160;
constexpr int samplesPerSecond = 16'000;
constexpr int runs = 6;

std::vector<std::int16_t> humanSpeech() {
    std::ifstream file(speechFile, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    std::vector<std::int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

/// Speech again and again, for this long.
std::vector<std::int16_t> speechOf(int seconds, const std::vector<std::int16_t>& sentence) {
    std::vector<std::int16_t> all;
    while (all.size() < static_cast<std::size_t>(seconds) * samplesPerSecond)
        all.insert(all.end(), sentence.begin(), sentence.end());
    all.resize(static_cast<std::size_t>(seconds) * samplesPerSecond);
    return all;
}

/// From the last sample to the transcript, with the sound coming as a microphone gives it.
void measureLength(Report& report, int seconds, CommandLoop& loop, Scheduler& scheduler,
                   VoskTranscriber& engine) {
    const auto sentence = humanSpeech();
    const auto samples = speechOf(seconds, sentence);
    Figures figures;
    const int times = seconds > 20 ? 2 : runs;
    for (int run = 0; run < times; ++run) {
        auto task = [&]() -> asio::awaitable<int> {
            const auto stream = engine.stream("en", nullptr);
            const auto begin = scheduler.now();
            for (std::size_t at = 0; at < samples.size(); at += samplesPerBuffer) {
                const auto due = begin + std::chrono::nanoseconds(at * 62'500);
                if (due > scheduler.now())
                    co_await scheduler.sleep(due - scheduler.now());
                stream->feed(std::span(samples).subspan(
                    at, std::min(samplesPerBuffer, samples.size() - at)));
            }
            const auto stop = scheduler.now();
            const auto text = co_await stream->finish();
            figures.add(scheduler.now() - stop);
            co_return text ? static_cast<int>(text->size()) : 0;
        };
        loop.run(task());
    }
    report.times(fmt::format("on-device: stop to transcript, {} s of speech", seconds), figures,
                 "p95 ≤ 150 ms");
}

}  // namespace

void measureRecognition(Report& report) {
    CommandLoop loop;
    SteadyScheduler scheduler(loop);
    const auto paths = pathsFromEnvironment();
    // The cache that set-up fills holds the model beside the engine.
    auto models = paths.models();
    for (const auto& folder : paths.engineFolders) {
        if (std::filesystem::exists(folder.parent_path() / "models/en"))
            models = folder.parent_path() / "models";
    }
    VoskTranscriber engine({paths.engineFolders, models}, loop, scheduler,
                           Log(makeNullLogSink(), Log::PrivateText::hide));
    if (!engine.supports("en") || humanSpeech().empty()) {
        report.skipped("on-device: stop to transcript", "the engine or its model is not installed");
        return;
    }
    for (const int seconds : {3, 10, 30, 60})
        measureLength(report, seconds, loop, scheduler, engine);
}

}  // namespace quillet::bench
