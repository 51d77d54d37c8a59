#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"
#include "cli/Command.h"
#include "settings/AppProfileStore.h"
#include "settings/AppSettings.h"
#include "speech/TranscriptionRequest.h"

namespace quillet {

namespace {

using nlohmann::json;

std::string shown(const json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// --- Settings ------------------------------------------------------------------------------------

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] {
        const auto& record = context.settings().record();
        if (context.json) {
            context.print(encodeSettings(record));
            return ExitCode::success;
        }
        for (const auto& setting : settingDescriptors()) {
            const auto value = setting.get(record);
            context.say(fmt::format("{} = {}\n    {}: {}", setting.name,
                                    value.is_null() ? "(not set)" : shown(value), setting.meaning,
                                    setting.accepted));
        }
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureGet(CLI::App& parser, CommandContext& context) {
    const auto name = std::make_shared<std::string>();
    parser.add_option("name", *name, "The setting's name")->required();
    return [&context, name] {
        const auto* setting = findSetting(*name);
        if (setting == nullptr)
            return context.fail(fmt::format(
                "There is no setting \"{}\". `quillet settings list` shows all of them.", *name));
        const auto value = setting->get(context.settings().record());
        if (context.json)
            context.print(value);
        else
            context.say(shown(value));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureSet(CLI::App& parser, CommandContext& context) {
    struct Choice {
        std::string name;
        std::string value;
    };
    const auto choice = std::make_shared<Choice>();
    parser.add_option("name", choice->name, "The setting's name")->required();
    parser.add_option("value", choice->value, "Its new value")->required();
    return [&context, choice] {
        if (const auto set = context.settings().setFromText(choice->name, choice->value); !set)
            return context.fail(set.error());
        return ExitCode::success;
    };
}

// --- Profiles ------------------------------------------------------------------------------------

std::function<ExitCode()> configureProfileList(CLI::App&, CommandContext& context) {
    return [&context] {
        json all = json::array();
        for (const auto& profile : context.profiles().all()) {
            all.push_back(encodeProfile(profile));
            if (!context.json)
                context.say(fmt::format("{}  {}  sends with {}{}", profile.bundleID,
                                        profile.displayName, storedName(profile.sendKey),
                                        profile.autoSend ? ", by itself" : ""));
        }
        if (context.json)
            context.print(all);
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureProfileSet(CLI::App& parser, CommandContext& context) {
    struct Choice {
        std::string bundleID;
        std::optional<std::string> name;
        std::optional<std::string> sendKey;
        std::optional<bool> autoSend;
        std::optional<double> delay;
    };
    const auto choice = std::make_shared<Choice>();
    parser.add_option("application", choice->bundleID, "The application's id")->required();
    parser.add_option("--name", choice->name, "How it is called");
    parser.add_option("--send-key", choice->sendKey, "The key that sends: enter or cmdEnter")
        ->check(CLI::IsMember({"enter", "cmdEnter"}));
    parser.add_option("--auto-send", choice->autoSend, "Send by itself: true or false");
    parser.add_option("--delay", choice->delay, "Seconds to wait before sending")
        ->check(CLI::Range(0.0, 60.0));
    return [&context, choice] {
        AppProfile fresh;
        fresh.bundleID = fresh.displayName = choice->bundleID;
        auto profile = context.profiles().profile(choice->bundleID).value_or(fresh);
        if (choice->name)
            profile.displayName = *choice->name;
        if (choice->sendKey)
            profile.sendKey = *choice->sendKey == storedName(SendKeyType::cmdEnter)
                                  ? SendKeyType::cmdEnter
                                  : SendKeyType::enter;
        if (choice->autoSend)
            profile.autoSend = *choice->autoSend;
        if (choice->delay)
            profile.autoSendDelay = choice->delay;
        if (const auto set = context.profiles().set(std::move(profile)); !set)
            return context.fail(set.error());
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureProfileDelete(CLI::App& parser, CommandContext& context) {
    const auto bundleID = std::make_shared<std::string>();
    parser.add_option("application", *bundleID, "The application's id")->required();
    return [&context, bundleID] {
        if (const auto removed = context.profiles().remove(*bundleID); !removed)
            return context.fail(removed.error());
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureProfileReset(CLI::App& parser, CommandContext& context) {
    const auto sure = std::make_shared<bool>(false);
    parser.add_flag("--yes", *sure, "Yes, reset all profiles");
    return [&context, sure] {
        if (!*sure)
            return context.fail("Reset all per-app profiles to defaults? Add --yes to do it.");
        if (const auto reset = context.profiles().resetToDefaults(); !reset)
            return context.fail(reset.error());
        return ExitCode::success;
    };
}

// --- Keys ----------------------------------------------------------------------------------------

void addKeyName(CLI::App& parser, std::string& name) {
    parser.add_option("name", name, "Which key: sttAPIKey, llmAPIKey or cloudflareToken")
        ->required()
        ->check(CLI::IsMember(
            std::vector<std::string>(std::begin(secretNames), std::end(secretNames))));
}

/// The address that a key is for, as the settings have it.
std::string addressOf(std::string_view name, const QuilletSettings& record) {
    if (name == "llmAPIKey")
        return record.llmBaseURL;
    if (name == "cloudflareToken" && !isCloudflareWhisper(record.sttEndpoint))
        return cloudflareWhisperUrl(record.cloudflareAccount);
    return record.sttEndpoint;
}

std::function<ExitCode()> configureKeySet(CLI::App& parser, CommandContext& context) {
    const auto name = std::make_shared<std::string>();
    const auto typed = std::make_shared<std::string>();
    addKeyName(parser, *name);
    parser.add_option("key", *typed)->group("");  // not offered, only understood
    return [&context, name, typed] {
        if (!typed->empty())
            return context.fail(
                "A key among the arguments is seen by everybody on the machine, and your shell "
                "keeps it. Give it on standard input: quillet keys set " +
                    *name + " < file",
                ExitCode::usage);
        // Read from standard input, for arguments are seen by everybody on the machine.
        std::string key;
        std::getline(std::cin, key);
        key = trimmed(key);
        if (key.empty())
            return context.fail(
                "Give the key on standard input, for example: quillet keys set sttAPIKey < file");
        auto& settings = context.settings();
        const auto address = addressOf(*name, settings.record());
        const auto stored = context.loop.run(settings.setSecret(*name, key, address));
        if (!stored)
            return context.fail(explanation(stored.error()));
        const auto host = settings.secretHost(*name);
        context.say(host.empty()
                        ? "The key is stored. It will belong to the first server that needs it."
                        : fmt::format("The key is stored. It is sent to {} only.", host));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureKeyDelete(CLI::App& parser, CommandContext& context) {
    const auto name = std::make_shared<std::string>();
    addKeyName(parser, *name);
    return [&context, name] {
        const auto removed = context.loop.run(context.settings().setSecret(*name, "", ""));
        if (!removed)
            return context.fail(explanation(removed.error()));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureKeyList(CLI::App&, CommandContext& context) {
    return [&context] {
        json all = json::object();
        for (const auto name : secretNames) {
            auto& settings = context.settings();
            const auto value = context.loop.run(settings.secret(std::string(name)));
            if (!value)
                return context.fail(explanation(value.error()));
            const auto host = settings.secretHost(name);
            all[std::string(name)] = {{"set", !value->empty()}, {"host", host}};
            if (!context.json)
                context.say(fmt::format("{}  {}{}", name, value->empty() ? "not set" : "set",
                                        value->empty() || host.empty() ? "" : ", for " + host));
        }
        if (context.json)
            context.print(all);
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"settings", "list", "All settings, what they mean and accept", configureList},
    {"settings", "get", "The value of one setting", configureGet},
    {"settings", "set", "Change one setting", configureSet},
    {"profiles", "list", "All profiles", configureProfileList},
    {"profiles", "set", "Add or change an application's profile", configureProfileSet},
    {"profiles", "delete", "Delete an application's profile", configureProfileDelete},
    {"profiles", "reset", "Reset to Defaults", configureProfileReset},
    {"keys", "list", "Which keys are stored, and for which server", configureKeyList},
    {"keys", "set", "Store a key, given on standard input", configureKeySet},
    {"keys", "delete", "Delete a key", configureKeyDelete},
};

}  // namespace

std::span<const Command> settingCommands() {
    return commands;
}

}  // namespace quillet
