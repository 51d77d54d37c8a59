#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "meetings/TwoSides.h"
#include "platform/CallAudio.h"

namespace quillet {

/// A stretch in which one side of a meeting speaks, as far as it is heard. Positions are samples.
struct Turn {
    CallAudio::Side side = CallAudio::Side::microphone;
    std::int64_t from = 0;
    std::int64_t to = 0;
    friend bool operator==(const Turn&, const Turn&) = default;
};

/// Speech begins and ends more softly than it is heard: 0.2 s belong to a turn on either side.
inline constexpr std::int64_t turnMargin = 3'200;

/// Who speaks when, the turns in the order of their beginnings. Both sides may speak at once. What
/// the microphone hears of the loudspeakers, up to 0.4 s after they were given it, does not count
/// as the user's.
[[nodiscard]] std::vector<Turn> turnsOf(const TwoSides& piece);

/// The side that speaks most between two positions; none where nobody does.
[[nodiscard]] std::optional<CallAudio::Side> speakingSide(const std::vector<Turn>& turns,
                                                          std::int64_t from, std::int64_t to);

}  // namespace quillet
