#pragma once

#include <cstdint>
#include <vector>

namespace quillet {

/// A stretch of a meeting, 16 kHz mono a side; both sides have the same length.
struct TwoSides {
    std::vector<std::int16_t> user;  ///< the microphone
    std::vector<std::int16_t> far;   ///< what the loudspeakers played
};

}  // namespace quillet
