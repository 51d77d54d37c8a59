#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "audio/RecordingArchive.h"
#include "base/rpc/ControlProtocol.h"
#include "cli/Command.h"
#include "cli/ControlClient.h"
#include "cli/TimeText.h"
#include "platform/linux/SystemServices.h"

namespace quillet {

namespace {

using nlohmann::json;

ExitCode list(CommandContext& context) {
    const SystemCalendar calendar;
    const RecordingArchive archive(context.paths.recordings(), calendar, context.log, nullptr);
    const auto items = archive.items();
    if (context.json) {
        json all = json::array();
        for (const auto& item : items)
            all.push_back({{"id", item.id},
                           {"date", item.date.time_since_epoch().count()},
                           {"seconds", item.seconds},
                           {"language", item.language},
                           {"text", item.text ? json(*item.text) : json()}});
        context.print(all);
        return ExitCode::success;
    }
    for (const auto& item : items)
        context.say(fmt::format("{}  {}  {:.1f} s  {}", item.id, timeText(item.date, calendar),
                                item.seconds, item.text.value_or("")));
    if (items.empty())
        context.say("None yet — the last recordings are kept for 7 days");
    return ExitCode::success;
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] { return list(context); };
}

std::function<ExitCode()> configureSend(CLI::App& parser, CommandContext& context) {
    const auto id = std::make_shared<std::string>();
    parser.add_option("id", *id, "The recording's id, as the list shows it")->required();
    return [&context, id] {
        const json params = {{"id", *id}};
        const auto reply =
            ControlClient(context.paths.controlSocket()).call(control::sendRecording, params);
        if (!reply)
            return context.fail(reply.error().sentence,
                                reply.error().notRunning ? ExitCode::notRunning : ExitCode::failed);
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureDeleteAll(CLI::App& parser, CommandContext& context) {
    const auto sure = std::make_shared<bool>(false);
    parser.add_flag("--yes", *sure, "Yes, delete all recordings");
    return [&context, sure] {
        if (!*sure)
            return context.fail("This deletes all kept recordings for good. Add --yes to do it.");
        const SystemCalendar calendar;
        RecordingArchive archive(context.paths.recordings(), calendar, context.log, nullptr);
        context.say(fmt::format("{} recording(s) deleted.", context.loop.run(archive.deleteAll())));
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"recordings", "list", "Recordings that are kept", configureList},
    {"recordings", "send", "Recognise a recording and type it where the focus is", configureSend},
    {"recordings", "delete-all", "Delete all kept recordings", configureDeleteAll},
};

}  // namespace

std::span<const Command> recordingCommands() {
    return commands;
}

}  // namespace quillet
