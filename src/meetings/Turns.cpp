#include "meetings/Turns.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "audio/Wav.h"

namespace quillet {

namespace {

using Side = CallAudio::Side;

constexpr std::int64_t frameSize = 320;  // 20 ms
constexpr float quietestVoice = 0.006F;
constexpr float voiceOverNoise = 3.0F;
/// What the microphone hears of the loudspeakers varies by so much over its usual share.
constexpr float voiceOverEcho = 3.0F;
/// Pauses inside a turn, and voice that is too short to be one: 0.7 s and 0.2 s.
constexpr std::int64_t longestGap = 35;
constexpr std::int64_t shortestVoice = 10;
/// The same side goes on after a longer pause, as long as the other one is silent: 3 s, and as long
/// as the turn does not become longer than 30 s.
constexpr std::int64_t longestPause = 48'000;
constexpr std::int64_t longestTurn = 480'000;

std::vector<float> levelsOf(std::span<const std::int16_t> samples) {
    std::vector<float> levels;
    levels.reserve(samples.size() / frameSize + 1);
    while (!samples.empty()) {
        const auto count = std::min<std::size_t>(samples.size(), frameSize);
        levels.push_back(rootMeanSquare(samples.first(count)));
        samples = samples.subspan(count);
    }
    return levels;
}

/// The value below which a given share lies; 0 of none.
float quantile(std::vector<float> values, double share) {
    if (values.empty())
        return 0;
    const auto at = values.begin() +
                    static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::ranges::nth_element(values, at);
    return *at;
}

float noiseOf(const std::vector<float>& levels) {
    constexpr double quietShare = 0.1;
    return quantile(levels, quietShare);
}

float thresholdOf(const std::vector<float>& levels) {
    constexpr float loudestThreshold = 0.03F;  // a piece without any pause has no noise to see
    return std::clamp(voiceOverNoise * noiseOf(levels), quietestVoice, loudestThreshold);
}

std::vector<bool> voiceIn(const std::vector<float>& levels) {
    const auto threshold = thresholdOf(levels);
    std::vector<bool> voice;
    voice.reserve(levels.size());
    for (const auto level : levels)
        voice.push_back(level > threshold);
    return voice;
}

/// How much louder each level is than the one 40 ms before, as a logarithm. Noise does not count.
std::vector<float> risesOf(const std::vector<float>& levels) {
    constexpr std::size_t step = 2;
    constexpr float leastNoise = 0.0005F;
    const auto softest = std::max(leastNoise, 2 * noiseOf(levels));
    std::vector<float> rises(levels.size());
    for (std::size_t i = step; i < levels.size(); ++i)
        rises[i] = std::log(std::max(levels[i], softest) / std::max(levels[i - step], softest));
    return rises;
}

/// How much two series rise and fall together.
class Correlation {
public:
    void add(double x, double y) {
        ++count_;
        sumX_ += x;
        sumY_ += y;
        squareX_ += x * x;
        squareY_ += y * y;
        product_ += x * y;
    }
    /// From -1 to 1.
    [[nodiscard]] double value() const {
        const auto spread =
            (count_ * squareX_ - sumX_ * sumX_) * (count_ * squareY_ - sumY_ * sumY_);
        return spread > 0 ? (count_ * product_ - sumX_ * sumY_) / std::sqrt(spread) : 0;
    }
    /// Whether it is more than two people who speak at once reach by chance, which shrinks with the
    /// root of the count.
    [[nodiscard]] bool isSure() const {
        constexpr double least = 0.2;
        constexpr double leastOfFew = 5;
        return value() > std::max(least, leastOfFew / std::sqrt(count_));
    }

private:
    double count_ = 0;
    double sumX_ = 0;
    double sumY_ = 0;
    double squareX_ = 0;
    double squareY_ = 0;
    double product_ = 0;
};

/// How many frames later the microphone hears the loudspeakers; none with a headset.
std::optional<std::size_t> echoDelay(const std::vector<float>& user, const std::vector<float>& far,
                                     const std::vector<bool>& farVoice) {
    constexpr std::size_t longestDelay = 22;  // 0.44 s
    const auto userRises = risesOf(user);
    const auto farRises = risesOf(far);
    std::optional<std::size_t> found;
    double best = 0;
    for (std::size_t delay = 0; delay <= longestDelay; ++delay) {
        Correlation correlation;
        for (std::size_t i = 0; i + delay < user.size(); ++i) {
            if (farVoice[i])
                correlation.add(farRises[i], userRises[i + delay]);
        }
        if (correlation.isSure() && correlation.value() > best) {
            best = correlation.value();
            found = delay;
        }
    }
    return found;
}

/// The share of the far side's level that the microphone usually hears.
float echoShare(const std::vector<float>& user, const std::vector<float>& far,
                const std::vector<bool>& farVoice, std::size_t delay) {
    std::vector<float> voices;
    for (std::size_t i = 0; i < far.size(); ++i) {
        if (farVoice[i])
            voices.push_back(far[i]);
    }
    const auto loud = quantile(std::move(voices), 0.5);
    std::vector<float> shares;
    for (std::size_t i = 0; i + delay < user.size(); ++i) {
        if (farVoice[i] && far[i] >= loud)
            shares.push_back(user[i + delay] / far[i]);
    }
    constexpr double usualShare = 0.25;  // lower than the middle: the user may speak meanwhile
    return quantile(std::move(shares), usualShare);
}

/// The loudest of each level and its neighbours.
std::vector<float> widened(const std::vector<float>& levels) {
    auto wide = levels;
    for (std::size_t i = 1; i < levels.size(); ++i) {
        wide[i - 1] = std::max(wide[i - 1], levels[i]);
        wide[i] = std::max(wide[i], levels[i - 1]);
    }
    return wide;
}

/// Takes out what is as loud as the loudspeakers usually are in the microphone.
void dropEcho(std::vector<bool>& voice, const std::vector<float>& user,
              const std::vector<float>& far, const std::vector<bool>& farVoice) {
    const auto delay = echoDelay(user, far, farVoice);
    if (!delay)
        return;
    const auto share = echoShare(user, far, farVoice, *delay);
    const auto played = widened(far);      // the delay is no whole number of frames
    constexpr float reverberation = 0.8F;  // what is left of a sound 20 ms later
    float lately = 0;
    for (auto i = *delay; i < user.size(); ++i) {
        lately = std::max(played[i - *delay], lately * reverberation);
        if (user[i] < voiceOverEcho * share * lately)
            voice[i] = false;
    }
}

void addTurns(std::vector<Turn>& turns, Side side, const std::vector<bool>& voice,
              std::int64_t length) {
    const auto frames = std::ssize(voice);
    std::int64_t i = 0;
    while (i < frames) {
        if (!voice[static_cast<std::size_t>(i)]) {
            ++i;
            continue;
        }
        std::int64_t last = i;
        std::int64_t loud = 0;
        for (auto k = i; k < frames && k - last <= longestGap; ++k) {
            if (voice[static_cast<std::size_t>(k)]) {
                last = k;
                ++loud;
            }
        }
        if (loud >= shortestVoice)
            turns.push_back({side, i * frameSize, std::min(length, (last + 1) * frameSize)});
        i = last + 1;
    }
}

/// Joins what one side says after a pause in which nobody else spoke.
std::vector<Turn> joined(const std::vector<Turn>& turns) {
    std::vector<Turn> result;
    for (const auto& turn : turns) {
        const bool goesOn = !result.empty() && result.back().side == turn.side &&
                            turn.from - result.back().to <= longestPause &&
                            turn.to - result.back().from <= longestTurn;
        if (goesOn)
            result.back().to = std::max(result.back().to, turn.to);
        else
            result.push_back(turn);
    }
    return result;
}

}  // namespace

std::vector<Turn> turnsOf(const TwoSides& piece) {
    const auto user = levelsOf(piece.user);
    const auto far = levelsOf(piece.far);
    auto userVoice = voiceIn(user);
    const auto farVoice = voiceIn(far);
    dropEcho(userVoice, user, far, farVoice);
    const auto length = std::ssize(piece.user);
    std::vector<Turn> turns;
    addTurns(turns, Side::microphone, userVoice, length);
    addTurns(turns, Side::systemAudio, farVoice, length);
    std::ranges::sort(turns, {}, [](const Turn& turn) { return std::pair(turn.from, turn.side); });
    return joined(turns);
}

std::optional<Side> speakingSide(const std::vector<Turn>& turns, std::int64_t from,
                                 std::int64_t to) {
    std::int64_t spoken[2] = {};
    for (const auto& turn : turns)
        spoken[static_cast<std::size_t>(turn.side)] +=
            std::max<std::int64_t>(0, std::min(to, turn.to) - std::max(from, turn.from));
    if (spoken[0] == 0 && spoken[1] == 0)
        return std::nullopt;
    return spoken[0] >= spoken[1] ? Side::microphone : Side::systemAudio;
}

}  // namespace quillet
