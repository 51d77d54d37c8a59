#include <CLI/CLI.hpp>

#include "cli/Command.h"
#include "cli/CommandText.h"

namespace quillet {

namespace {

const std::vector<std::string> manualEnding = {
    "EXIT STATUS\n"
    "0 when it is done, 1 when it was refused or failed (a sentence says why), 2 when the command "
    "line is not understood, 3 when Quillet would have to be running and is not.",
    "FILES\n"
    "~/.quillet holds the history, the vocabulary, what was learned, meeting notes and recognition "
    "models; $XDG_CONFIG_HOME/quillet/defaults.json the settings. Keys of services are in the "
    "keyring. Recognition models for all users are looked for in /usr/share/quillet/models, the "
    "recognition engine in /usr/lib/quillet/engine.",
    "ENVIRONMENT\n"
    "QUILLET_ENGINE_DIR is a folder in which the recognition engine is looked for first. "
    "QUILLET_MODEL_CATALOGUE is a file that names other models to download than Quillet's own "
    "choice, such as copies on a server nearby: a JSON array of objects with language, url, bytes "
    "and sha256. "
    "QUILLET_LOG_PRIVATE=1 shows your texts in the log."};

std::function<ExitCode()> configureManual(CLI::App& parser, CommandContext& context) {
    parser.group("");
    return [&parser, &context] {
        context.write(manualPage(textOf(*parser.get_parent()), manualEnding));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureCompletions(CLI::App& parser, CommandContext& context) {
    parser.group("");
    const auto shell = std::make_shared<std::string>();
    parser.add_option("shell", *shell, "Whose")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    return [&parser, &context, shell] {
        const auto program = textOf(*parser.get_parent());
        if (*shell == "bash")
            context.write(bashCompletions(program));
        else
            context.write(*shell == "zsh" ? zshCompletions(program) : fishCompletions(program));
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"", "manual", "Write the manual page", configureManual},
    {"", "completions", "Write what a shell completes", configureCompletions},
};

}  // namespace

std::span<const Command> documentationCommands() {
    return commands;
}

}  // namespace quillet
