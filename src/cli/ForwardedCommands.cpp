#include <CLI/CLI.hpp>

#include "cli/Becoming.h"
#include "cli/Command.h"
#include "cli/TranscribeOptions.h"

namespace quillet {

namespace {

/// Hands the words over as they were given, once they are understood.
ExitCode forward(CommandContext& context) {
    return context.fail(becomeProgram("quillet-tools", context.words));
}

std::function<ExitCode()> configureTranscribe(CLI::App& parser, CommandContext& context) {
    const auto options = std::make_shared<TranscribeOptions>();
    options->addTo(parser);
    return [&context, options] { return forward(context); };
}

std::function<ExitCode()> configureDoctor(CLI::App&, CommandContext& context) {
    return [&context] { return forward(context); };
}

constexpr Command commands[] = {
    {"", "transcribe", "Write down what is said in audio files", configureTranscribe},
    {"", "doctor", "Check microphone, keys, clipboard, keyring, engine and server",
     configureDoctor},
};

}  // namespace

std::span<const Command> forwardedCommands() {
    return commands;
}

}  // namespace quillet
