#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "audio/PauseDetector.h"

namespace quillet {

/// A part of a meeting that is transcribed at once. Positions are samples since its beginning.
struct MeetingPiece {
    std::int64_t from = 0;
    std::int64_t to = 0;
    bool hasVoice = false;  ///< of either side
    friend bool operator==(const MeetingPiece&, const MeetingPiece&) = default;
};

/// Cuts a meeting into pieces while it is heard: at the first pause of 0.7 s after 30 s, after 60 s
/// at the latest. A pure value.
class PieceCutter {
public:
    static constexpr std::int64_t shortestPiece = 30L * 16'000;
    static constexpr std::int64_t longestPiece = 60L * 16'000;
    static constexpr std::int64_t pauseFrames = 11'200;
    /// Longest part that `feed` takes: 20 ms, for a breath between two words is no longer.
    static constexpr std::size_t longestFeed = 320;

    explicit PieceCutter(std::int64_t from = 0) : from_(from), position_(from) {}

    /// Takes the next samples, at most `longestFeed` of them; the piece that they complete.
    [[nodiscard]] std::optional<MeetingPiece> feed(std::span<const std::int16_t> user,
                                                   std::span<const std::int16_t> far);
    /// What is left at the end.
    [[nodiscard]] std::optional<MeetingPiece> finish();

    [[nodiscard]] std::int64_t position() const { return position_; }

private:
    MeetingPiece cut();
    [[nodiscard]] static bool hasVoice(const PauseDetector& side);

    PauseDetector user_;
    PauseDetector far_;
    std::int64_t from_;
    std::int64_t position_;
};

}  // namespace quillet
