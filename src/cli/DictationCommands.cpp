#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "base/text/Text.h"
#include "cli/Command.h"
#include "cli/ControlClient.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr int usualDictation = 120;    // seconds
constexpr int longestDictation = 600;  // seconds
constexpr std::chrono::seconds timeForRecognition{180};
constexpr std::size_t longestText = 100'000;

ExitCode answer(CommandContext& context, const std::expected<json, ControlClient::Failure>& reply) {
    if (!reply)
        return context.fail(reply.error().sentence,
                            reply.error().notRunning ? ExitCode::notRunning : ExitCode::failed);
    if (context.json)
        context.print(*reply);
    return ExitCode::success;
}

template <const std::string_view& Method>
std::function<ExitCode()> plain(CLI::App&, CommandContext& context) {
    return [&context] {
        return answer(context, ControlClient(context.paths.controlSocket()).call(Method, json()));
    };
}

template <const std::string_view& Method>
std::function<ExitCode()> withMode(CLI::App& parser, CommandContext& context) {
    const auto mode = std::make_shared<std::string>("dictate");
    parser.add_option("--mode", *mode, "What the dictation is for")
        ->check(CLI::IsMember({"dictate", "command", "translate", "live", "amend"}))
        ->capture_default_str();
    return [&context, mode] {
        const json params = {{"mode", *mode}};
        return answer(context, ControlClient(context.paths.controlSocket()).call(Method, params));
    };
}

std::function<ExitCode()> configureStatus(CLI::App&, CommandContext& context) {
    return [&context] {
        const auto reply =
            ControlClient(context.paths.controlSocket()).call(control::status, json());
        if (!reply && reply.error().notRunning && context.json) {
            context.print({{"running", false}});
            return ExitCode::notRunning;
        }
        if (!reply || context.json)
            return answer(context, reply);
        context.say("Quillet is running: " + reply->value("state", "unknown") + ".");
        if (!reply->value("globalKeys", true))
            context.say(
                "This desktop shows no application its keys: bind \"quillet toggle\" to a "
                "key there.");
        for (const auto& conflict : (*reply)["conflicts"])
            context.say(conflict.get<std::string>());
        if (reply->contains("lastError"))
            context.say("Last failure: " + (*reply)["lastError"].value("text", ""));
        return ExitCode::success;
    };
}

/// Prints what the user dictates.
std::function<ExitCode()> configureDictate(CLI::App& parser, CommandContext& context) {
    const auto seconds = std::make_shared<int>(usualDictation);
    parser.add_option("--seconds", *seconds, "How long to listen at most, 1 to 600")
        ->check(CLI::Range(1, longestDictation))
        ->capture_default_str();
    return [&context, seconds] {
        const auto reply = ControlClient(context.paths.controlSocket())
                               .call(control::dictateForAgent, {{"seconds", *seconds}},
                                     std::chrono::seconds(*seconds) + timeForRecognition);
        if (reply && !context.json)
            context.say(reply->get<std::string>());
        return answer(context, reply);
    };
}

/// Types a text.
std::function<ExitCode()> configureType(CLI::App& parser, CommandContext& context) {
    const auto text = std::make_shared<std::string>();
    parser.add_option("text", *text, "The text; - reads it from standard input")->required();
    return [&context, text] {
        if (*text == "-")
            text->assign(std::istreambuf_iterator<char>(std::cin), {});
        if (text->size() > longestText)
            return context.fail(
                fmt::format("The text is too long; {} bytes are the most.", longestText));
        return answer(context, ControlClient(context.paths.controlSocket())
                                   .call(control::typeText, {{"text", withValidUtf8(*text)}}));
    };
}

constexpr Command commands[] = {
    {"", "toggle", "Begin a dictation, or finish the one that is recorded",
     withMode<control::toggle>},
    {"", "start", "Begin a dictation", withMode<control::start>},
    {"", "stop", "Finish the dictation that is recorded", plain<control::stop>},
    {"", "press", "Begin push-to-talk: a dictation that \"release\" finishes",
     withMode<control::press>},
    {"", "release", "Finish what \"press\" began", plain<control::release>},
    {"", "cancel", "Discard the dictation", plain<control::cancel>},
    {"", "dictate", "Print what you dictate, instead of typing it", configureDictate},
    {"", "type", "Type a text into the application in front", configureType},
    {"", "paste-last", "Type the last result again", plain<control::pasteLast>},
    {"", "status", "Say what Quillet is doing", configureStatus},
    {"", "quit", "End the application", plain<control::quit>},
};

}  // namespace

std::span<const Command> dictationCommands() {
    return commands;
}

}  // namespace quillet
