#include "audio/PauseDetector.h"

#include <gtest/gtest.h>

#include <random>

#include "audio/Wav.h"

namespace quillet {
namespace {

constexpr float engineFloor = 0.002F;

/// The rules as they are written down, without a thought for speed.
class NaiveDetector {
public:
    void feed(float rms, std::int64_t frames) {
        recent_.push_back({rms, frames});
        while (total(recent_) >= 48'001 && recent_.size() >= 2)
            recent_.erase(recent_.begin());
        segment_.push_back({rms, frames});
        const float limit = threshold(0.006F);
        hasVoice = hasVoice || framesAbove(limit) >= 3'200;
        silentFrames = 0;
        for (auto it = segment_.rbegin(); it != segment_.rend() && it->rms <= limit; ++it)
            silentFrames += it->frames;
    }
    bool verdict(float floor) const {
        return hasVoice || framesAbove(threshold(floor)) > 3'199 || framesAbove(0.01F) > 3'199;
    }
    void cut() {
        segment_.clear();
        hasVoice = false;
        silentFrames = 0;
    }

    bool hasVoice = false;
    std::int64_t silentFrames = 0;

private:
    struct Level {
        float rms;
        std::int64_t frames;
    };
    static std::int64_t total(const std::vector<Level>& levels) {
        std::int64_t sum = 0;
        for (const auto& level : levels)
            sum += level.frames;
        return sum;
    }
    float threshold(float floor) const {
        if (recent_.empty())
            return floor;
        return std::max(floor, 3 * std::ranges::min(recent_, {}, &Level::rms).rms);
    }
    std::int64_t framesAbove(float limit) const {
        std::int64_t sum = 0;
        for (const auto& level : segment_)
            sum += level.rms > limit ? level.frames : 0;
        return sum;
    }
    std::vector<Level> recent_;
    std::vector<Level> segment_;
};

TEST(PauseDetector, AgreesWithTheRulesAsWrittenOnRandomSound) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int> lengths(1, 1'200);
    std::uniform_int_distribution<int> kinds(0, 99);
    for (int run = 0; run < 60; ++run) {
        PauseDetector fast;
        NaiveDetector naive;
        float mood = 0.001F;
        for (int i = 0; i < 400; ++i) {
            if (kinds(random) < 5)
                mood = std::pow(10.0F, -4.0F + static_cast<float>(kinds(random)) / 30.0F);
            const auto rms = mood * (0.5F + static_cast<float>(kinds(random)) / 50.0F);
            const auto frames = lengths(random);
            fast.feed(rms, frames);
            naive.feed(rms, frames);
            ASSERT_EQ(fast.hasVoice(), naive.hasVoice) << "run " << run << ", buffer " << i;
            ASSERT_EQ(fast.silentFrames(), naive.silentFrames) << "run " << run << ", buffer " << i;
            ASSERT_EQ(fast.verdict(engineFloor), naive.verdict(engineFloor)) << run << ' ' << i;
            if (kinds(random) == 0) {
                fast.cut();
                naive.cut();
            }
        }
    }
}

TEST(PauseDetector, VoiceIsAFifthOfASecondAboveTheThreshold) {
    PauseDetector detector;
    detector.feed(0.0001F, 160);
    detector.feed(0.02F, 3'199);
    EXPECT_FALSE(detector.hasVoice());
    EXPECT_FALSE(detector.verdict(engineFloor));
    detector.feed(0.02F, 1);
    EXPECT_TRUE(detector.hasVoice());
    detector.cut();
    EXPECT_FALSE(detector.hasVoice());
    EXPECT_EQ(detector.silentFrames(), 0);
}

TEST(PauseDetector, ASteadyNoiseRaisesTheThresholdToThreeTimesItself) {
    PauseDetector detector;
    for (int i = 0; i < 100; ++i)
        detector.feed(0.004F, 1'600);
    EXPECT_FALSE(detector.hasVoice());
    detector.feed(0.0119F, 16'000);
    EXPECT_FALSE(detector.hasVoice());
    detector.feed(0.0121F, 3'200);
    EXPECT_TRUE(detector.hasVoice());
    // A level that is held for more than 3 s becomes the floor itself.
    detector.cut();
    for (int i = 0; i < 40; ++i)
        detector.feed(0.05F, 1'600);
    EXPECT_EQ(detector.silentFrames(), 64'000);
    EXPECT_TRUE(detector.verdict(engineFloor));  // by the fixed level of sure voice
}

TEST(Wav, HasTheStandardHeaderAndReadsBackAlsoWhenCutOff) {
    const std::vector<std::int16_t> samples = {0, 1, -1, 32'767, -32'768};
    const auto file = encodeWav(samples);
    ASSERT_EQ(file.size(), 44U + 10U);
    EXPECT_EQ(file.substr(0, 4), "RIFF");
    EXPECT_EQ(file.substr(4, 4), std::string("\x2e\0\0\0", 4));
    EXPECT_EQ(file.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(file.substr(16, 20),
              std::string("\x10\0\0\0\x01\0\x01\0\x80\x3e\0\0\0\x7d\0\0\x02\0\x10\0", 20));
    EXPECT_EQ(file.substr(36, 8), std::string("data\x0a\0\0\0", 8));
    EXPECT_EQ(decodeOwnWav(file).value(), samples);
    const auto cutOff = decodeOwnWav(std::string_view(file).substr(0, 49));
    EXPECT_EQ(cutOff.value(), (std::vector<std::int16_t>{0, 1}));
    EXPECT_FALSE(decodeOwnWav("RIFF").has_value());
    EXPECT_FALSE(decodeOwnWav(std::string(64, 'x')).has_value());
    EXPECT_FLOAT_EQ(rootMeanSquare(std::vector<std::int16_t>{16'384, -16'384}), 0.5F);
}

}  // namespace
}  // namespace quillet
