#include "cli/Asking.h"

#include "cli/ControlClient.h"

namespace quillet {

ExitCode ask(CommandContext& context, std::string_view method, const nlohmann::json& params,
             std::chrono::seconds longestWait,
             const std::function<void(const nlohmann::json& answer)>& say) {
    const auto reply =
        ControlClient(context.paths.controlSocket()).call(method, params, longestWait);
    if (!reply)
        return context.fail(reply.error().sentence,
                            reply.error().notRunning ? ExitCode::notRunning : ExitCode::failed);
    if (context.json)
        context.print(*reply);
    else
        say(*reply);
    return ExitCode::success;
}

}  // namespace quillet
