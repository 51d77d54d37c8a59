#include <fmt/format.h>
#include <fmt/ranges.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "settings/AppSettings.h"
#include "settings/CloudflareAccount.h"
#include "settings/ServicePreset.h"
#include "speech/TranscriptionRequest.h"

namespace quillet {

namespace {

using nlohmann::json;

json encoded(const ServicePreset& preset, bool inForce) {
    return {{"id", preset.id},
            {"name", preset.name},
            {"note", preset.note},
            {"sttEndpoint", preset.sttEndpoint},
            {"sttModel", preset.sttModel},
            {"llmBaseURL", preset.llmBaseURL},
            {"llmModel", preset.llmModel},
            {"keyURL", preset.keyURL ? json(*preset.keyURL) : json()},
            {"inForce", inForce}};
}

ExitCode list(CommandContext& context) {
    const auto* current = presetInForce(context.settings().record());
    json all = json::array();
    for (const auto& preset : servicePresets()) {
        const bool inForce = &preset == current;
        all.push_back(encoded(preset, inForce));
        if (context.json)
            continue;
        context.say(fmt::format(
            "{}  {}{}\n    {}\n    {}", preset.id, preset.name, inForce ? "  (in force)" : "",
            preset.note,
            preset.keyURL ? fmt::format("Key: {}", *preset.keyURL) : "It has no page for keys."));
    }
    if (context.json)
        context.print(all);
    return ExitCode::success;
}

/// What is left to do before the preset's services are used, a command each.
std::vector<std::string> remainingSteps(const ServicePreset& preset,
                                        const QuilletSettings& record) {
    std::vector<std::string> steps;
    if (!resolvedAddress(preset.llmBaseURL, record.cloudflareAccount))
        steps.emplace_back("quillet settings set cloudflareAccount YOUR_ACCOUNT_ID");
    if (preset.keyURL) {
        const bool cloudflare = isCloudflareWhisper(preset.sttEndpoint);
        steps.emplace_back(cloudflare ? "quillet keys set cloudflareToken < file"
                                      : "quillet keys set sttAPIKey < file");
        steps.emplace_back("quillet keys set llmAPIKey < file");
    }
    if (record.sttEngineType != STTEngineType::cloud)
        steps.emplace_back("quillet settings set sttEngineType cloud");
    if (!record.llmEnabled)
        steps.emplace_back("quillet settings set llmEnabled true");
    return steps;
}

ExitCode usePreset(CommandContext& context, const std::string& id) {
    const auto* preset = findPreset(id);
    if (preset == nullptr)
        return context.fail(fmt::format(
            "There is no preset \"{}\". `quillet presets list` shows all of them.", id));
    auto& settings = context.settings();
    if (!settings.change([preset](QuilletSettings& record) { applyPreset(record, *preset); }))
        return context.fail(
            "The preset could not be saved: the settings file cannot be written. Check that the "
            "disk is not full and that the file belongs to you.");
    const auto steps = remainingSteps(*preset, settings.record());
    if (context.json) {
        context.print({{"preset", encoded(*preset, true)}, {"remainingSteps", steps}});
        return ExitCode::success;
    }
    context.say(fmt::format("{} is set up for speech and for rewriting.", preset->name));
    if (preset->keyURL)
        context.say(fmt::format("Keys are given out at {}", *preset->keyURL));
    if (!steps.empty())
        context.say(fmt::format("What it may still need:\n    {}", fmt::join(steps, "\n    ")));
    return ExitCode::success;
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] { return list(context); };
}

std::function<ExitCode()> configureApply(CLI::App& parser, CommandContext& context) {
    const auto id = std::make_shared<std::string>();
    parser.add_option("preset", *id, "The preset's id")->required();
    return [&context, id] { return usePreset(context, *id); };
}

constexpr Command commands[] = {
    {"presets", "list", "All presets, and which one is in force", configureList},
    {"presets", "apply", "Use a preset's services", configureApply},
};

}  // namespace

std::span<const Command> presetCommands() {
    return commands;
}

}  // namespace quillet
