#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/Becoming.h"
#include "cli/Command.h"
#include "cli/ControlClient.h"

namespace quillet {

namespace {

std::function<ExitCode()> configureOpen(CLI::App& parser, CommandContext& context) {
    const auto window = std::make_shared<std::string>();
    const std::vector<std::string> names(std::begin(control::windows), std::end(control::windows));
    parser.add_option("window", *window, "Which one")->required()->check(CLI::IsMember(names));
    return [&context, window] {
        const auto reply =
            ControlClient(context.paths.controlSocket()).call(control::open, {{"window", *window}});
        if (reply)
            return ExitCode::success;
        if (reply.error().notRunning)
            return context.fail(becomeProgram("quillet-app", {"--open", *window}));
        return context.fail(reply.error().sentence);
    };
}

constexpr Command commands[] = {
    {"", "open", "Show a window, and start Quillet where it does not run", configureOpen},
};

}  // namespace

std::span<const Command> windowCommands() {
    return commands;
}

}  // namespace quillet
