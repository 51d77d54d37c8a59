#include <unistd.h>

#include <CLI/CLI.hpp>
#include <filesystem>

#include "cli/Command.h"
#include "platform/linux/SystemServices.h"

namespace quillet {

namespace {

constexpr const char* toolsProgram = "quillet-tools";

/// Becomes the other program, with the words as they were given.
ExitCode forward(CommandContext& context, const std::string& command,
                 const std::vector<std::string>& words) {
    const auto program = programBeside(toolsProgram);
    std::vector<std::string> all = {"quillet", command};
    all.insert(all.end(), words.begin(), words.end());
    if (context.json)
        all.emplace_back("--json");
    std::vector<char*> argv;
    argv.reserve(all.size() + 1);
    for (auto& word : all)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    return context.fail(program.string() + " cannot be started. Install Quillet again.");
}

std::function<ExitCode()> configure(CLI::App& parser, CommandContext& context) {
    // The other program knows its options, its help included.
    parser.set_help_flag();
    parser.prefix_command();
    return [&context, &parser] { return forward(context, parser.get_name(), parser.remaining()); };
}

constexpr Command commands[] = {
    {"", "transcribe", "Write down what is said in audio files", configure},
    {"", "doctor", "Check microphone, keys, clipboard, keyring, engine and server", configure},
};

}  // namespace

std::span<const Command> forwardedCommands() {
    return commands;
}

}  // namespace quillet
