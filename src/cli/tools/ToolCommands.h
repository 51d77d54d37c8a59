#pragma once

#include <vector>

#include "cli/Command.h"

namespace quillet {

// The commands of the second program, a file each.
[[nodiscard]] Command transcribeCommand();
[[nodiscard]] Command doctorCommand();

[[nodiscard]] inline std::vector<Command> toolCommands() {
    return {transcribeCommand(), doctorCommand()};
}

}  // namespace quillet
