#pragma once

namespace quillet {

/// Whether the desktop's accessibility service answers. Blocks for at most half a second.
[[nodiscard]] bool accessibilityBusAnswers();

}  // namespace quillet
