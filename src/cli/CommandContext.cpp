#include "cli/CommandContext.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "base/notification/NotificationCenter.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "settings/AppProfileStore.h"
#include "settings/AppSettings.h"

namespace quillet {

struct CommandContext::Services {
    Services(const Paths& paths, const Log& log)
        : defaults(paths.defaultsFile(), log),
          settings(defaults, keychain, notifications, log),
          profiles(defaults, log) {}

    JsonUserDefaults defaults;
    SecretServiceKeychain keychain;
    NotificationCenter notifications;
    AppSettings settings;
    AppProfileStore profiles;
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

void CommandContext::print(const nlohmann::json& value) {
    out_ << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

ExitCode CommandContext::fail(std::string_view sentence, ExitCode code) {
    err_ << "quillet: " << sentence << '\n';
    return code;
}

CommandContext::Services& CommandContext::services() {
    if (!services_)
        services_ = std::make_unique<Services>(paths, log);
    return *services_;
}

AppSettings& CommandContext::settings() {
    return services().settings;
}

AppProfileStore& CommandContext::profiles() {
    return services().profiles;
}

}  // namespace quillet
