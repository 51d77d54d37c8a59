#include <CLI/CLI.hpp>
#include <map>

#include "cli/Command.h"
#include "cli/Version.h"

namespace quillet {

namespace {

constexpr CommandGroup groups[] = {
    {"history", "What was dictated"},
    {"recordings", "Recordings that could not be typed"},
    {"models", "Recognition models on this machine"},
    {"settings", "Settings"},
    {"profiles", "What happens in each application after a dictation"},
    {"keys", "Keys of services, kept in the keyring"},
};

constexpr const char* footer =
    "\nExit status: 0 done, 1 refused or failed (a sentence says why), 2 the command line is not\n"
    "understood, 3 Quillet would have to be running and is not.\n\n"
    "Without a command, Quillet starts, or brings up the menu of the one that runs.\n"
    "Where the desktop shows no application its keys (Wayland), bind \"quillet toggle\" to a key;\n"
    "for push-to-talk bind \"quillet press\" to the press and \"quillet release\" to the release.";

}  // namespace

std::span<const CommandGroup> commandGroups() { return groups; }

std::vector<Command> allCommands() {
    std::vector<Command> all;
    for (const auto part : {dictationCommands(), transcribeCommands(), historyCommands(),
                            recordingCommands(), modelCommands(), settingCommands(),
                            doctorCommands()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

int runCommandLine(int argc, const char* const* argv, CommandContext& context) {
    CLI::App parser("Voice dictation: press a chord, speak, press it again, and the words stand "
                    "where you type.",
                    "quillet");
    parser.set_version_flag("--version", std::string("quillet ") + version);
    parser.footer(footer);
    parser.require_subcommand(1);
    std::map<std::string_view, CLI::App*> parsers;
    for (const auto& group : commandGroups()) {
        auto* one = parser.add_subcommand(std::string(group.name), std::string(group.summary));
        one->require_subcommand(1);
        parsers[group.name] = one;
    }
    std::function<ExitCode()> chosen;
    for (const auto& command : allCommands()) {
        auto* parent = command.group.empty() ? &parser : parsers.at(command.group);
        auto* one = parent->add_subcommand(std::string(command.name), std::string(command.summary));
        one->add_flag("--json", context.json, "Answer as JSON, for programs");
        auto run = command.configure(*one, context);
        one->final_callback([&chosen, run = std::move(run)] { chosen = run; });
    }
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = parser.exit(error);
        return status == 0 ? 0 : static_cast<int>(ExitCode::usage);
    }
    return static_cast<int>(chosen());
}

}  // namespace quillet
