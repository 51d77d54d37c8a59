#pragma once

#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "cli/CommandContext.h"

namespace CLI {
class App;
}

namespace quillet {

/// One command: how it is called, what it is for, and how it is run. The parser, the help and the
/// manual are read off the table of these.
struct Command {
    std::string_view group;  ///< empty for a command of the first level
    std::string_view name;
    std::string_view summary;
    /// Adds options and arguments, and returns what to do once they are read.
    std::function<ExitCode()> (*configure)(CLI::App& parser, CommandContext& context);
};

/// The commands of the `quillet` program, in the order of the help. Those that need the desktop's
/// or the media libraries are handed to `quillet-tools`.
[[nodiscard]] std::vector<Command> allCommands();

// The commands by what they are about, a file each.
[[nodiscard]] std::span<const Command> dictationCommands();
[[nodiscard]] std::span<const Command> windowCommands();
[[nodiscard]] std::span<const Command> forwardedCommands();
[[nodiscard]] std::span<const Command> historyCommands();
[[nodiscard]] std::span<const Command> recordingCommands();
[[nodiscard]] std::span<const Command> modelCommands();
[[nodiscard]] std::span<const Command> vocabularyCommands();
[[nodiscard]] std::span<const Command> meetingCommands();
[[nodiscard]] std::span<const Command> reviewCommands();
[[nodiscard]] std::span<const Command> knowledgeCommands();
[[nodiscard]] std::span<const Command> mcpCommands();
[[nodiscard]] std::span<const Command> settingCommands();
[[nodiscard]] std::span<const Command> consentCommands();
[[nodiscard]] std::span<const Command> presetCommands();
[[nodiscard]] std::span<const Command> languageModelCommands();

/// For those who build packages: they describe the other commands, and the help does not show them.
[[nodiscard]] std::span<const Command> documentationCommands();

/// Parses the command line and runs what it says; returns the process's exit status.
int runCommandLine(int argc, const char* const* argv, const std::vector<Command>& commands,
                   CommandContext& context);

}  // namespace quillet
