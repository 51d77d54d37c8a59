#include "meetings/SideTrack.h"

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

/// The samples spread over one more or one less, by straight lines between them.
std::vector<std::int16_t> stretched(std::span<const std::int16_t> samples, std::size_t count) {
    std::vector<std::int16_t> result(count);
    const double step = static_cast<double>(samples.size() - 1) / static_cast<double>(count - 1);
    for (std::size_t i = 0; i < count; ++i) {
        const double at = static_cast<double>(i) * step;
        const auto left = std::min(static_cast<std::size_t>(at), samples.size() - 2);
        const double share = at - static_cast<double>(left);
        result[i] =
            static_cast<std::int16_t>((1 - share) * samples[left] + share * samples[left + 1]);
    }
    return result;
}

}  // namespace

void SideTrack::add(std::span<const std::int16_t> samples, std::int64_t arrivedAt) {
    if (samples.empty())
        return;
    held_.insert(held_.end(), samples.begin(), samples.end());
    const auto ahead = arrivedAt - end() - static_cast<std::int64_t>(held_.size());
    if (ahead > gapFrames) {
        if (!heldSince_)
            heldSince_ = arrivedAt;
        // The beginning of a meeting is no heap.
        if (end() > 0 && arrivedAt - *heldSince_ < heapFrames)
            return;
        pad(end() + ahead);
    }
    heldSince_.reset();
    place(std::exchange(held_, {}), arrivedAt);
}

void SideTrack::finish() {
    heldSince_.reset();
    const auto held = std::exchange(held_, {});
    appendCorrected(held);
}

void SideTrack::place(std::span<const std::int16_t> samples, std::int64_t arrivedAt) {
    const auto frames = static_cast<std::int64_t>(samples.size());
    const auto late = end() + frames - arrivedAt;
    if (late > lateFrames) {
        // Their place has been filled with silence meanwhile.
        samples = samples.subspan(static_cast<std::size_t>(std::min(late, frames)));
        measured_ = 0;
        leastAhead_ = std::numeric_limits<std::int64_t>::max();
    } else {
        measure(frames, arrivedAt);
    }
    appendCorrected(samples);
}

void SideTrack::measure(std::int64_t frames, std::int64_t arrivedAt) {
    leastAhead_ = std::min(leastAhead_, arrivedAt - end() - frames + corrected_);
    measured_ += frames;
    if (measured_ < windowFrames)
        return;
    wanted_ = leastAhead_;
    leastAhead_ = std::numeric_limits<std::int64_t>::max();
    measured_ = 0;
}

void SideTrack::appendCorrected(std::span<const std::int16_t> samples) {
    sinceCorrection_ += static_cast<std::int64_t>(samples.size());
    constexpr std::size_t fewest = 16;  // too few to spread a correction over
    if (wanted_ == corrected_ || sinceCorrection_ < framesPerCorrection ||
        samples.size() < fewest) {
        buffer_.insert(buffer_.end(), samples.begin(), samples.end());
        return;
    }
    const bool more = wanted_ > corrected_;
    const auto spread = stretched(samples, more ? samples.size() + 1 : samples.size() - 1);
    buffer_.insert(buffer_.end(), spread.begin(), spread.end());
    corrected_ += more ? 1 : -1;
    sinceCorrection_ = 0;
}

void SideTrack::pad(std::int64_t until) {
    if (until > end())
        buffer_.resize(buffer_.size() + static_cast<std::size_t>(until - end()));
}

std::vector<std::int16_t> SideTrack::take(std::int64_t until) {
    const auto count = std::clamp<std::int64_t>(until - taken_, 0, end() - taken_);
    const auto last = buffer_.begin() + count;
    std::vector<std::int16_t> samples(buffer_.begin(), last);
    buffer_.erase(buffer_.begin(), last);
    taken_ += count;
    return samples;
}

}  // namespace quillet
