#include "audio/PauseDetector.h"

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

/// Sound above this level is voice in the verdict, whatever the noise floor.
constexpr float surelyVoice = 0.01F;
constexpr float voiceOverNoise = 3.0F;

}  // namespace

void PauseDetector::Recent::add(Level level) {
    levels_.push_back(level);
    frames_ += level.frames;
    while (!minima_.empty() && minima_.back() > level.rms)
        minima_.pop_back();
    minima_.push_back(level.rms);
    while (frames_ > recentFrames && levels_.size() >= 2) {
        const Level oldest = levels_.front();
        levels_.pop_front();
        frames_ -= oldest.frames;
        if (minima_.front() == oldest.rms)
            minima_.pop_front();
    }
}

void PauseDetector::Segment::add(Level level) {
    frames_ += level.frames;
    while (!peaks_.empty() && peaks_.back().rms <= level.rms)
        peaks_.pop_back();
    // A level that no threshold can be under never ends a silence.
    if (level.rms > quietestVoice)
        peaks_.push_back({level.rms, frames_});

    loudest_.insert(level);
    loudestFrames_ += level.frames;
    while (true) {
        const auto quietest = std::prev(loudest_.end());
        if (loudestFrames_ - quietest->frames < voiceFrames)
            break;
        loudestFrames_ -= quietest->frames;
        loudest_.erase(quietest);
    }
}

bool PauseDetector::Segment::hasVoiceAbove(float threshold) const {
    if (loudestFrames_ < voiceFrames)
        return false;
    // Without its quietest level the set falls short, so all of it must lie above.
    return std::prev(loudest_.end())->rms > threshold;
}

std::int64_t PauseDetector::Segment::framesAfterLastAbove(float threshold) const {
    const auto below = std::ranges::partition_point(
        peaks_, [threshold](const Peak& peak) { return peak.rms > threshold; });
    return below == peaks_.begin() ? frames_ : frames_ - std::prev(below)->end;
}

float PauseDetector::threshold(float floor) const {
    return recent_.empty() ? floor : std::max(floor, voiceOverNoise * recent_.smallest());
}

void PauseDetector::feed(float rms, std::int64_t frames) {
    if (frames <= 0)
        return;
    const Level level{std::isfinite(rms) ? rms : 0.0F, frames};
    recent_.add(level);
    segment_.add(level);
    const float limit = threshold(quietestVoice);
    hasVoice_ = hasVoice_ || segment_.hasVoiceAbove(limit);
    silentFrames_ = segment_.framesAfterLastAbove(limit);
}

bool PauseDetector::verdict(float floor) const {
    return hasVoice_ || segment_.hasVoiceAbove(threshold(floor)) ||
           segment_.hasVoiceAbove(surelyVoice);
}

void PauseDetector::cut() {
    segment_ = Segment{};
    hasVoice_ = false;
    silentFrames_ = 0;
}

}  // namespace quillet
