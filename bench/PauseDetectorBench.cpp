#include <fmt/format.h>

#include <cmath>

#include "Figures.h"
#include "audio/PauseDetector.h"

namespace quillet::bench {

namespace {

constexpr int framesPerBuffer = 160;  // 10 ms
constexpr int buffersPerMinute = 6'000;
constexpr int minutes = 180;

/// Nanoseconds a buffer, for each minute.
std::vector<double> costByMinute(float (*level)(int)) {
    PauseDetector detector;
    std::vector<double> costs;
    for (int minute = 0; minute < minutes; ++minute) {
        const auto time = timeOf([&] {
            for (int i = 0; i < buffersPerMinute; ++i)
                detector.feed(level(minute * buffersPerMinute + i), framesPerBuffer);
        });
        costs.push_back(time.count() * 1e6 / buffersPerMinute);
    }
    return costs;
}

}  // namespace

void measurePauseDetector(Report& report) {
    struct Sound {
        const char* name;
        float (*level)(int);
    };
    constexpr Sound sounds[] = {
        {"pure silence", [](int) { return 0.0F; }},
        {"steady noise", [](int i) { return 0.004F + 0.0001F * static_cast<float>(i % 7); }},
        {"speech with pauses",
         [](int i) {
             return i % 500 < 350 ? 0.02F + 0.01F * std::sin(static_cast<float>(i)) : 0.001F;
         }},
        {"ever fainter sound", [](int i) { return 0.5F / (1.0F + static_cast<float>(i) * 1e-5F); }},
    };
    for (const auto& sound : sounds) {
        const auto costs = costByMinute(sound.level);
        report.figure(fmt::format("pause detector, a 10 ms buffer of {}: first minute, last of 3 h",
                                  sound.name),
                      fmt::format("{:.0f} ns, {:.0f} ns", costs[1], costs.back()), "constant");
    }
}

}  // namespace quillet::bench
