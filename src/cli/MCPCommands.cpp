#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/Command.h"
#include "cli/ControlClient.h"
#include "mcp/MCPServer.h"
#include "mcp/MCPTools.h"
#include "mcp/ToolManual.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "platform/linux/SystemServices.h"
#include "settings/AppSettings.h"

namespace quillet {

namespace {

using nlohmann::json;
using Answer = std::expected<json, ControlClient::Failure>;

/// The keyring is asked twice at most, with 3 s for each.
constexpr std::chrono::seconds timeForTheKeyring{10};

Answer answerOf(CommandContext& context, std::string_view method, const json& params) {
    return ControlClient(context.paths.controlSocket()).call(method, params, timeForTheKeyring);
}

Answer failure(std::string sentence) {
    return std::unexpected(ControlClient::Failure{false, std::move(sentence)});
}

/// What the application answers, or, where it does not run, what can be done without it.
Answer askOrDo(CommandContext& context, std::string_view method, const json& params,
               const std::function<Answer()>& withoutApplication) {
    auto answer = answerOf(context, method, params);
    return answer || !answer.error().notRunning ? answer : withoutApplication();
}

ExitCode tell(CommandContext& context, const Answer& answer,
              const std::function<void(const json&)>& say) {
    if (!answer)
        return context.fail(answer.error().sentence);
    if (context.json)
        context.print(*answer);
    else
        say(*answer);
    return ExitCode::success;
}

/// What the settings alone say.
json savedStatus(CommandContext& context) {
    const auto& record = context.settings().record();
    return {{"running", false},
            {"on", record.mcpEnabled},
            {"control", record.mcpAllowControl},
            {"listening", false},
            {"url", MCPServer::url(MCPServer::usualPort)}};
}

std::string stateSentence(const json& status) {
    if (!status.value("on", false))
        return "Off. `quillet mcp on` lets your AI clients in.";
    if (status.value("listening", false))
        return fmt::format("On: {}", status.value("url", ""));
    if (!status.value("running", false))
        return "On, but Quillet does not run. `quillet` starts it.";
    return fmt::format("On, but not listening. {}", status.value("problem", ""));
}

void sayStatus(CommandContext& context, const json& status) {
    context.say(stateSentence(status));
    context.say(status.value("control", false)
                    ? "AI clients may record and type."
                    : "AI clients may read only; `quillet settings set mcpAllowControl true` lets "
                      "them record and type.");
}

std::function<ExitCode()> configureStatus(CLI::App&, CommandContext& context) {
    return [&context] {
        const auto status = askOrDo(context, control::mcpStatus, json::object(),
                                    [&]() -> Answer { return savedStatus(context); });
        return tell(context, status, [&](const json& answer) { sayStatus(context, answer); });
    };
}

Answer switchSaved(CommandContext& context, bool on) {
    if (!context.settings().change([on](QuilletSettings& record) { record.mcpEnabled = on; }))
        return failure("The settings could not be saved. Is the disk full?");
    return savedStatus(context);
}

template <bool On>
std::function<ExitCode()> configureSwitch(CLI::App&, CommandContext& context) {
    return [&context] {
        const auto status = askOrDo(context, control::mcpSwitch, {{"on", On}},
                                    [&] { return switchSaved(context, On); });
        return tell(context, status, [&](const json& answer) {
            context.say(stateSentence(answer));
            if (On)
                context.say("`quillet mcp command` shows the line that sets a client up.");
        });
    };
}

/// Reads or replaces the key without the application.
Answer keyCommand(CommandContext& context, asio::awaitable<MCPKey::Key> (MCPKey::*get)()) {
    SecretServiceKeychain keychain({}, MCPKey::keychainService);
    KernelIds ids;
    MCPKey key(keychain, ids);
    const auto found = context.loop.run((key.*get)());
    if (!found)
        return failure(get == &MCPKey::read ? unreadableKey(found.error())
                                            : std::string(explanation(found.error())));
    return json{{"command", MCPServer::setupCommand(*found)}};
}

std::function<ExitCode()> configureCommand(CLI::App&, CommandContext& context) {
    return [&context] {
        const auto answer = askOrDo(context, control::mcpCommand, json::object(),
                                    [&] { return keyCommand(context, &MCPKey::read); });
        return tell(context, answer,
                    [&](const json& got) { context.say(got.value("command", "")); });
    };
}

std::function<ExitCode()> configureNewKey(CLI::App&, CommandContext& context) {
    return [&context] {
        const auto answer = askOrDo(context, control::mcpNewKey, json::object(),
                                    [&] { return keyCommand(context, &MCPKey::renew); });
        return tell(context, answer, [&](const json& got) {
            context.say("AI clients set up with the old key now need this command:");
            context.say(got.value("command", ""));
        });
    };
}

std::function<ExitCode()> configureTools(CLI::App&, CommandContext& context) {
    return [&context] {
        if (context.json)
            context.print(MCPTools::toolDefinitions());
        else
            context.write(toolManual());
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"mcp", "status", "Whether your own AI clients are let in, and where", configureStatus},
    {"mcp", "on", "Let your own AI clients in", configureSwitch<true>},
    {"mcp", "off", "Shut them out", configureSwitch<false>},
    {"mcp", "command", "The line that sets a client up; it holds the key", configureCommand},
    {"mcp", "new-key", "Make a fresh key; clients with the old one are shut out", configureNewKey},
    {"mcp", "tools", "What AI clients can ask for", configureTools},
};

}  // namespace

std::span<const Command> mcpCommands() {
    return commands;
}

}  // namespace quillet
