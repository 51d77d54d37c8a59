#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <vector>

namespace quillet {

/// Finds voice and pauses in a stream of levels. A pure value: no clock, no platform. A buffer
/// costs the same after three hours as after a minute.
///
/// Levels are the root mean square of samples scaled to ±1.0; lengths are samples at 16 kHz.
class PauseDetector {
public:
    /// Below this nothing counts as voice while recording.
    static constexpr float quietestVoice = 0.006F;
    /// This much sound above the threshold is voice: 0.2 s.
    static constexpr std::int64_t voiceFrames = 3'200;
    /// How far back the noise floor is looked for: 3 s.
    static constexpr std::int64_t recentFrames = 48'000;

    /// Takes the next captured buffer.
    void feed(float rms, std::int64_t frames);

    /// Whether voice was heard since the last cut. Once heard it stays so until the next cut.
    [[nodiscard]] bool hasVoice() const { return hasVoice_; }
    /// Samples of silence at the end.
    [[nodiscard]] std::int64_t silentFrames() const { return silentFrames_; }

    /// The verdict on everything since the last cut, with `floor` as the lowest threshold.
    [[nodiscard]] bool verdict(float floor) const;

    /// Begins a new segment; the noise floor carries over.
    void cut();
    /// Forgets everything.
    void reset() { *this = PauseDetector{}; }

private:
    struct Level {
        float rms = 0;
        std::int64_t frames = 0;
    };

    /// The last 3 s of levels with their minimum at hand.
    class Recent {
    public:
        void add(Level level);
        [[nodiscard]] bool empty() const { return levels_.empty(); }
        [[nodiscard]] float smallest() const { return minima_.front(); }

    private:
        std::deque<Level> levels_;
        std::deque<float> minima_;  // non-decreasing; the front is the smallest of levels_
        std::int64_t frames_ = 0;
    };

    /// The levels since the last cut, kept only as far as the questions below need them.
    class Segment {
    public:
        void add(Level level);
        /// Whether at least `voiceFrames` samples lie above the threshold.
        [[nodiscard]] bool hasVoiceAbove(float threshold) const;
        /// Samples after the last level above the threshold, which is never under `quietestVoice`.
        [[nodiscard]] std::int64_t framesAfterLastAbove(float threshold) const;

    private:
        struct Louder {
            bool operator()(const Level& a, const Level& b) const { return a.rms > b.rms; }
        };
        struct Peak {
            float rms = 0;
            std::int64_t end = 0;  // samples from the cut to the end of this level
        };

        // The loudest levels, as few as make up `voiceFrames` samples: all that can matter to the
        // question whether that many lie above some threshold.
        std::multiset<Level, Louder> loudest_;
        std::int64_t loudestFrames_ = 0;
        // Levels that nothing as loud follows, so their loudness falls from front to back.
        std::vector<Peak> peaks_;
        std::int64_t frames_ = 0;
    };

    [[nodiscard]] float threshold(float floor) const;

    Recent recent_;
    Segment segment_;
    bool hasVoice_ = false;
    std::int64_t silentFrames_ = 0;
};

}  // namespace quillet
