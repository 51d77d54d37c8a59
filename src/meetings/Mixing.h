#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "meetings/TwoSides.h"

namespace quillet {

/// Both sides in one, sample by sample. Neither is made quieter; where both are loud the sum is
/// pressed together smoothly, so that it never reaches the ends of the range.
[[nodiscard]] std::vector<std::int16_t> mixed(std::span<const std::int16_t> user,
                                              std::span<const std::int16_t> far);

}  // namespace quillet
