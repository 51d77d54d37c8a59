#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "settings/AppSettings.h"
#include "settings/Consent.h"
#include "settings/ServicePreset.h"

namespace quillet {

namespace {

using nlohmann::json;

/// The services that the settings name, whether they were decided or not.
std::vector<ServiceID> servicesInUse(const QuilletSettings& record) {
    const auto* cloudflare = findPreset("cloudflare");
    std::vector<ServiceID> services;
    const auto add = [&services](bool isUsed, ServicePurpose purpose, std::string_view url) {
        auto service = isUsed ? Consent::serviceOf(purpose, url) : std::nullopt;
        if (service && std::ranges::find(services, *service) == services.end())
            services.push_back(std::move(*service));
    };
    add(record.sttEngineType == STTEngineType::cloud, ServicePurpose::speech, record.sttEndpoint);
    add(record.sttBackup && cloudflare != nullptr, ServicePurpose::speech,
        cloudflare == nullptr ? std::string_view() : cloudflare->sttEndpoint);
    add(record.llmEnabled, ServicePurpose::languageModel, record.llmBaseURL);
    return services;
}

ExitCode list(CommandContext& context) {
    auto& consent = context.consent();
    auto entries = consent.decided();
    for (const auto& service : servicesInUse(context.settings().record())) {
        if (std::ranges::find(entries, service, &Consent::Entry::service) == entries.end())
            entries.push_back({service, ConsentDecision::notAsked, {}});
    }
    if (context.json) {
        json all = json::array();
        for (const auto& entry : entries)
            all.push_back({{"service", entry.service.name()},
                           {"host", entry.service.host},
                           {"purpose", nameOf(entry.service.purpose)},
                           {"decision", nameOf(entry.decision)}});
        context.print(all);
        return ExitCode::success;
    }
    for (const auto& entry : entries)
        context.say(fmt::format("{:<12} {}", nameOf(entry.decision), entry.service.name()));
    if (entries.empty())
        context.say(
            "No service is in use, so nothing leaves this machine. What is recognised on the "
            "device needs no permission.");
    return ExitCode::success;
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] { return list(context); };
}

/// A command that decides about one service.
template <ConsentDecision decision>
std::function<ExitCode()> configureDecision(CLI::App& parser, CommandContext& context) {
    const auto name = std::make_shared<std::string>();
    parser
        .add_option("service", *name,
                    "The service as `quillet consent list` shows it, such as "
                    "speech@api.example.com")
        ->required();
    return [&context, name] {
        const auto service = Consent::parse(*name);
        if (!service)
            return context.fail(service.error());
        if (!context.consent().decide(*service, decision))
            return context.fail(
                "The decision could not be saved: the settings file cannot be written. Check that "
                "the disk is not full and that the file belongs to you.");
        context.say(decision == ConsentDecision::notAsked
                        ? fmt::format("{}: you will be asked again.", service->name())
                        : fmt::format("{} is {}.", service->name(), nameOf(decision)));
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"consent", "list", "Services, and whether you let something be sent to them", configureList},
    {"consent", "allow", "Let something be sent to a service",
     configureDecision<ConsentDecision::allowed>},
    {"consent", "deny", "Let nothing be sent to a service",
     configureDecision<ConsentDecision::denied>},
    {"consent", "reset", "Forget what was decided, so that you are asked again",
     configureDecision<ConsentDecision::notAsked>},
};

}  // namespace

std::span<const Command> consentCommands() {
    return commands;
}

}  // namespace quillet
