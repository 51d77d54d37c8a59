#pragma once

#include <expected>
#include <optional>

#include "ui/kit/Windows.h"

namespace quillet {

/// What the desktop application is told when it is started.
struct StartOptions {
    std::optional<WindowKind> open;  ///< shown at once
};

/// Words that are not known are left to the window toolkit. The error is the status to end with:
/// the command line asked for help, which was printed, or is not understood.
[[nodiscard]] std::expected<StartOptions, int> readStartOptions(int argc, const char* const* argv);

}  // namespace quillet
