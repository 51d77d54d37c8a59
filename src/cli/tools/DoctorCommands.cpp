#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/tools/Examination.h"
#include "cli/tools/ToolCommands.h"

namespace quillet {

namespace {

using nlohmann::json;

std::string_view nameOf(Finding::Health health) {
    switch (health) {
        case Finding::Health::good:
            return "ok";
        case Finding::Health::optional:
            return "note";
        case Finding::Health::bad:
            return "PROBLEM";
    }
    return {};
}

ExitCode examine(CommandContext& context) {
    const auto findings = Examination(context).run();
    json all = json::array();
    bool healthy = true;
    for (const auto& finding : findings) {
        healthy = healthy && finding.health != Finding::Health::bad;
        all.push_back({{"what", finding.what},
                       {"health", nameOf(finding.health)},
                       {"finding", finding.sentence},
                       {"remedy", finding.remedy}});
        if (context.json)
            continue;
        context.say(
            fmt::format("{:8} {}: {}", nameOf(finding.health), finding.what, finding.sentence));
        if (!finding.remedy.empty())
            context.say("         → " + finding.remedy);
    }
    if (context.json)
        context.print(all);
    return healthy ? ExitCode::success : ExitCode::failed;
}

std::function<ExitCode()> configure(CLI::App&, CommandContext& context) {
    return [&context] { return examine(context); };
}

}  // namespace

Command doctorCommand() {
    return {"", "doctor", "Check microphone, keys, clipboard, keyring, engine and server",
            configure};
}

}  // namespace quillet
