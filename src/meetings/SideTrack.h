#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace quillet {

/// Puts the samples of one side of a meeting where they belong on its timeline, which the clock
/// lays down: sound cards run a little faster or slower than it, devices change and leave gaps, and
/// what a busy machine delivers late comes in a heap. A pure value; no clock, no platform.
///
/// Positions and times are samples at 16 kHz since the meeting began.
class SideTrack {
public:
    /// Later than this by the clock, samples come after a gap, or late.
    static constexpr std::int64_t gapFrames = 4'000;
    /// How long it is waited to see which: those that are only late come in a heap.
    static constexpr std::int64_t heapFrames = 3'200;
    /// Samples that would begin this long before the end of what is known are late.
    static constexpr std::int64_t lateFrames = 1'600;
    /// How long the clock is compared before a card counts as running fast or slow: 10 s.
    static constexpr std::int64_t windowFrames = 160'000;
    /// One sample is put in or left out in so many: 0.1 %, which nobody hears.
    static constexpr std::int64_t framesPerCorrection = 1'000;

    /// Takes samples, the last of which was captured just before `arrivedAt`.
    void add(std::span<const std::int16_t> samples, std::int64_t arrivedAt);
    /// Places what is held back still: nothing more comes.
    void finish();
    /// Fills up with silence, for a side that is behind.
    void pad(std::int64_t until);
    /// What is known reaches up to here.
    [[nodiscard]] std::int64_t end() const {
        return taken_ + static_cast<std::int64_t>(buffer_.size());
    }
    /// Hands out the next samples and forgets them; not beyond `end`.
    [[nodiscard]] std::vector<std::int16_t> take(std::int64_t until);

private:
    void place(std::span<const std::int16_t> samples, std::int64_t arrivedAt);
    void measure(std::int64_t frames, std::int64_t arrivedAt);
    void appendCorrected(std::span<const std::int16_t> samples);

    std::deque<std::int16_t> buffer_;
    std::int64_t taken_ = 0;
    std::vector<std::int16_t> held_;  // after what may be a gap
    std::optional<std::int64_t> heldSince_;
    // How far the clock is ahead of the samples before any correction: its least value in the
    // window, for whatever delays samples only makes it larger.
    std::int64_t leastAhead_ = std::numeric_limits<std::int64_t>::max();
    std::int64_t measured_ = 0;   // samples in the window
    std::int64_t wanted_ = 0;     // samples to have been put in, less those left out
    std::int64_t corrected_ = 0;  // of these, done
    std::int64_t sinceCorrection_ = 0;
};

}  // namespace quillet
