#include <CLI/CLI.hpp>
#include <map>

#include "base/Version.h"
#include "cli/Command.h"

namespace quillet {

namespace {

struct CommandGroup {
    std::string_view name;
    std::string_view summary;
};

constexpr CommandGroup groups[] = {
    {"history", "What was dictated"},
    {"recordings", "Recordings that could not be typed"},
    {"meeting", "Meetings and their notes"},
    {"review", "What was learned from the day's dictations"},
    {"knowledge", "What you said that is worth keeping"},
    {"mcp", "Your own AI clients, and what they may"},
    {"models", "Recognition models on this machine"},
    {"vocabulary", "What recognition hears and what you write for it"},
    {"snippets", "Texts that are typed when you say their trigger"},
    {"consent", "Which services may be sent something"},
    {"settings", "Settings"},
    {"profiles", "What happens in each application after a dictation"},
    {"keys", "Keys of services, kept in the keyring"},
    {"presets", "Services for speech and for rewriting that are set up by one choice"},
};

constexpr const char* footer =
    "\nExit status: 0 done, 1 refused or failed (a sentence says why), 2 the command line is not\n"
    "understood, 3 Quillet would have to be running and is not.\n\n"
    "Without a command, Quillet starts, or brings up the menu of the one that runs.\n"
    "Where the desktop shows no application its keys (Wayland), bind \"quillet toggle\" to a key;\n"
    "for push-to-talk bind \"quillet press\" to the press and \"quillet release\" to the release.";

CLI::App* addGroup(CLI::App& parser, std::string_view name) {
    const auto* group = std::ranges::find(groups, name, &CommandGroup::name);
    auto* added = parser.add_subcommand(std::string(name), std::string(group->summary));
    added->require_subcommand(1);
    return added;
}

/// What the command that is named does is put into `chosen`.
void addCommands(CLI::App& parser, std::span<const Command> commands, CommandContext& context,
                 std::function<ExitCode()>& chosen) {
    std::map<std::string_view, CLI::App*> groupParsers;
    for (const auto& command : commands) {
        auto* parent = &parser;
        if (!command.group.empty()) {
            auto& group = groupParsers[command.group];
            if (group == nullptr)
                group = addGroup(parser, command.group);
            parent = group;
        }
        auto* one = parent->add_subcommand(std::string(command.name), std::string(command.summary));
        one->add_flag("--json", context.json, "Answer as JSON, for programs");
        auto run = command.configure(*one, context);
        one->final_callback([&chosen, run = std::move(run)] { chosen = run; });
    }
}

}  // namespace

std::vector<Command> allCommands() {
    std::vector<Command> all;
    for (const auto part :
         {dictationCommands(), windowCommands(), forwardedCommands(), historyCommands(),
          recordingCommands(), meetingCommands(), reviewCommands(), knowledgeCommands(),
          mcpCommands(), modelCommands(), vocabularyCommands(), presetCommands(),
          languageModelCommands(), consentCommands(), settingCommands()})
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

int runCommandLine(int argc, const char* const* argv, const std::vector<Command>& commands,
                   CommandContext& context) {
    CLI::App parser(
        "Voice dictation: press a chord, speak, press it again, and the words stand "
        "where you type.",
        "quillet");
    parser.set_version_flag("--version", std::string("quillet ") + version);
    parser.footer(footer);
    parser.require_subcommand(0, 1);
    std::function<ExitCode()> chosen;
    addCommands(parser, commands, context, chosen);
    addCommands(parser, documentationCommands(), context, chosen);
    // A word that is no command gets a sentence of its own; behind a command all must be known.
    parser.allow_extras();
    context.words.assign(argv + 1, argv + argc);
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int status = parser.exit(error);
        return status == 0 ? 0 : static_cast<int>(ExitCode::usage);
    }
    if (chosen)
        return static_cast<int>(chosen());
    const auto unknown = parser.remaining();
    const auto word = unknown.empty() ? std::string() : unknown.front();
    return static_cast<int>(
        context.fail("There is no command \"" + word + "\". `quillet --help` shows all of them.",
                     ExitCode::usage));
}

}  // namespace quillet
