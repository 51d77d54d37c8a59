#include "meetings/Turns.h"

#include <algorithm>
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

float thresholdOf(const std::vector<float>& levels) {
    constexpr double quietShare = 0.1;
    constexpr float loudestThreshold = 0.03F;  // a piece without any pause has no noise to see
    return std::clamp(voiceOverNoise * quantile(levels, quietShare), quietestVoice,
                      loudestThreshold);
}

std::vector<bool> voiceIn(const std::vector<float>& levels) {
    const auto threshold = thresholdOf(levels);
    std::vector<bool> voice;
    voice.reserve(levels.size());
    for (const auto level : levels)
        voice.push_back(level > threshold);
    return voice;
}

/// Takes out what is as loud as the loudspeakers usually are in the microphone.
void dropEcho(std::vector<bool>& voice, const std::vector<float>& user,
              const std::vector<float>& far, const std::vector<bool>& farVoice) {
    std::vector<float> shares;
    for (std::size_t i = 0; i < far.size(); ++i) {
        if (farVoice[i])
            shares.push_back(user[i] / far[i]);
    }
    constexpr double usualShare = 0.25;  // lower than the middle: the user may speak meanwhile
    const auto echo = quantile(std::move(shares), usualShare);
    constexpr std::size_t reverberation = 10;  // 0.2 s
    float lately = 0;
    constexpr float decay = 0.8F;
    for (std::size_t i = 0; i < far.size(); ++i) {
        lately = std::max(far[i], lately * decay);
        const bool farLately = farVoice[i] || (i >= reverberation && farVoice[i - reverberation]);
        if (farLately && user[i] < voiceOverEcho * echo * lately)
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
