#include "cli/CommandContext.h"

#include <fmt/format.h>
#include <unistd.h>

#include <iostream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "base/http/CurlHttpClient.h"
#include "base/notification/NotificationCenter.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "platform/linux/SystemServices.h"
#include "settings/AppProfileStore.h"
#include "settings/AppSettings.h"
#include "settings/ConsentingHttpClient.h"

namespace quillet {

namespace {

/// Whether somebody sits there who can be asked.
bool hasTerminal() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

asio::awaitable<ConsentDecision> askOnTerminal(ServiceID service, std::ostream& out) {
    const auto about = descriptionOf(service.purpose);
    out << fmt::format(
               "This sends something to {} for the first time.\n"
               "What for:     {}\nWhat is sent: {}\nAllow it? [y/n] ",
               service.host, about.title, about.whatIsSent)
        << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer == "y" || answer == "yes")
        co_return ConsentDecision::allowed;
    co_return answer == "n" || answer == "no" ? ConsentDecision::denied : ConsentDecision::notAsked;
}

}  // namespace

/// What talks to servers, with a thread of its own.
struct CommandContext::Network {
    explicit Network(Consent& consent)
        : speech(http, consent, ServicePurpose::speech),
          model(http, consent, ServicePurpose::languageModel),
          downloads(http, consent, ServicePurpose::modelDownload) {}

    CurlHttpClient http;
    ConsentingHttpClient speech;
    ConsentingHttpClient model;
    ConsentingHttpClient downloads;
};

struct CommandContext::Services {
    Services(const Paths& paths, const Log& log, CommandLoop& loop, std::ostream& err)
        : defaults(paths.defaultsFile(), log),
          settings(defaults, keychain, notifications, log),
          profiles(defaults, log),
          consent(loop, defaults, calendar, notifications) {
        if (hasTerminal())
            consent.askBy(
                [&err](ServiceID service) { return askOnTerminal(std::move(service), err); });
    }

    SystemCalendar calendar;
    JsonUserDefaults defaults;
    SecretServiceKeychain keychain;
    NotificationCenter notifications;
    AppSettings settings;
    AppProfileStore profiles;
    Consent consent;
    std::unique_ptr<Network> network;  // made for the first request
};

CommandContext::CommandContext(Paths where, Log logLines, std::ostream& out, std::ostream& err)
    : paths(std::move(where)), log(std::move(logLines)), out_(out), err_(err) {}

CommandContext::~CommandContext() = default;

void CommandContext::say(std::string_view line) {
    out_ << line << '\n';
}

void CommandContext::write(std::string_view text) {
    out_ << text;
}

std::string CommandContext::freshId() {
    return KernelIds().uuid();
}

void CommandContext::print(const nlohmann::json& value) {
    out_ << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

void CommandContext::progress(std::string_view line) {
    constexpr std::string_view backToAnEmptyLine = "\r\x1b[K";
    if (::isatty(STDERR_FILENO) == 1)
        err_ << backToAnEmptyLine << line << std::flush;
}

ExitCode CommandContext::fail(std::string_view sentence, ExitCode code) {
    err_ << "quillet: " << sentence << '\n';
    return code;
}

CommandContext::Services& CommandContext::services() {
    if (!services_)
        services_ = std::make_unique<Services>(paths, log, loop, err_);
    return *services_;
}

AppSettings& CommandContext::settings() {
    return services().settings;
}

AppProfileStore& CommandContext::profiles() {
    return services().profiles;
}

Consent& CommandContext::consent() {
    return services().consent;
}

HttpClient& CommandContext::http(ServicePurpose purpose) {
    auto& network = services().network;
    if (!network)
        network = std::make_unique<Network>(services().consent);
    switch (purpose) {
        case ServicePurpose::speech:
            return network->speech;
        case ServicePurpose::languageModel:
            return network->model;
        case ServicePurpose::modelDownload:
            break;
    }
    return network->downloads;
}

}  // namespace quillet
