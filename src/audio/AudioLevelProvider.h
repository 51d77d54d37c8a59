#pragma once

namespace quillet {

/// Smooths the level for the eye: up quickly, down slowly.
class AudioLevelProvider {
public:
    static constexpr float attackRate = 0.4F;
    static constexpr float releaseRate = 0.15F;

    /// Takes the level of the next buffer.
    void update(float level) {
        currentLevel_ = level;
        const float rate = level > smoothedLevel_ ? attackRate : releaseRate;
        smoothedLevel_ += (level - smoothedLevel_) * rate;
    }
    void reset() { *this = AudioLevelProvider{}; }

    [[nodiscard]] float smoothedLevel() const { return smoothedLevel_; }
    [[nodiscard]] float currentLevel() const { return currentLevel_; }

private:
    float smoothedLevel_ = 0;
    float currentLevel_ = 0;
};

}  // namespace quillet
