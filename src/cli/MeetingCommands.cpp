#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/Asking.h"
#include "cli/Command.h"
#include "cli/TimeText.h"
#include "meetings/MeetingLibrary.h"
#include "meetings/MeetingMessages.h"
#include "platform/linux/SystemServices.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr std::size_t mostHits = 20;
constexpr std::chrono::seconds timeToStart{15};

MeetingLibrary libraryOf(CommandContext& context) {
    return MeetingLibrary(context.paths.meetings(), nullptr);
}

void sayWritten(CommandContext& context, const json& answer) {
    const auto note = answer.value("note", json());
    if (note.is_string())
        context.say(fmt::format("{}: {}", meeting_messages::written,
                                (context.paths.meetings() / note.get<std::string>()).string()));
    else
        context.say(meeting_messages::nothingHeard);
}

std::function<ExitCode()> configureStart(CLI::App&, CommandContext& context) {
    return [&context] {
        return ask(context, control::meetingStart, json(), timeToStart, [&](const json& answer) {
            context.say(
                fmt::format("{}. `quillet meeting stop` ends it.", meeting_messages::started));
            if (answer.contains("reminder"))
                context.say(answer["reminder"].get<std::string>());
        });
    };
}

/// Commands that end with a note.
template <const std::string_view& Method>
std::function<ExitCode()> configureNote(CLI::App&, CommandContext& context) {
    return [&context] {
        return ask(context, Method, json(), longWork,
                   [&](const json& answer) { sayWritten(context, answer); });
    };
}

std::function<ExitCode()> configureSummarize(CLI::App& parser, CommandContext& context) {
    const auto note = std::make_shared<std::string>();
    parser.add_option("note", *note, "The note's file name; without one, the latest such note");
    return [&context, note] {
        return ask(context, control::meetingSummarise, {{"note", *note}}, longWork,
                   [&](const json& answer) { sayWritten(context, answer); });
    };
}

std::function<ExitCode()> configureDiscard(CLI::App& parser, CommandContext& context) {
    const auto sure = std::make_shared<bool>(false);
    parser.add_flag("--yes", *sure, "Yes, delete its audio and what is written of it");
    return [&context, sure] {
        if (!*sure)
            return context.fail(
                "This deletes the oldest interrupted meeting for good. Add --yes to do it.");
        return ask(context, control::meetingDiscard, json(), timeToStart,
                   [&](const json&) { context.say("The interrupted meeting is deleted."); });
    };
}

std::function<ExitCode()> configureStatus(CLI::App&, CommandContext& context) {
    return [&context] {
        return ask(context, control::meetingStatus, json(), timeToStart, [&](const json& answer) {
            const auto phase = answer.value("phase", "idle");
            if (phase == "recording") {
                const SystemCalendar calendar;
                const Calendar::UnixTime since(
                    std::chrono::duration<double>(answer.value("since", 0.0)));
                context.say(fmt::format("Meeting: recording since {}.", timeText(since, calendar)));
                if (answer.value("quiet", false))
                    context.say(meeting_messages::almostNothing);
            } else {
                context.say(phase == "writing" ? "Meeting: writing the notes…"
                                               : "No meeting is being recorded.");
            }
            if (answer.value("unfinished", 0) > 0)
                context.say(
                    "A meeting was interrupted; `quillet meeting recover` finishes its note.");
        });
    };
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] {
        auto library = libraryOf(context);
        const auto entries = context.loop.run(library.entries());
        json all = json::array();
        for (const auto& entry : entries)
            all.push_back(
                {{"name", entry.name}, {"modified", entry.modified.time_since_epoch().count()}});
        if (context.json)
            context.print(all);
        else if (entries.empty())
            context.say("There are no meeting notes yet.");
        else
            for (const auto& entry : entries)
                context.say(entry.name);
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureShow(CLI::App& parser, CommandContext& context) {
    const auto name = std::make_shared<std::string>();
    parser.add_option("note", *name, "The note's file name, as the list shows it")->required();
    return [&context, name] {
        auto library = libraryOf(context);
        const auto note = context.loop.run(library.read(*name));
        if (!note)
            return context.fail(fmt::format(
                "There is no meeting note \"{}\". `quillet meeting list` shows their names.",
                *name));
        if (context.json)
            context.print({{"name", *name}, {"markdown", *note}});
        else
            context.write(*note);
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureSearch(CLI::App& parser, CommandContext& context) {
    const auto words = std::make_shared<std::string>();
    parser.add_option("words", *words, "What to look for")->required();
    return [&context, words] {
        auto library = libraryOf(context);
        const auto hits = context.loop.run(library.search(*words, mostHits));
        json all = json::array();
        for (const auto& hit : hits)
            all.push_back({{"name", hit.name}, {"lines", hit.lines}});
        if (context.json) {
            context.print(all);
            return ExitCode::success;
        }
        for (const auto& hit : hits) {
            context.say(hit.name);
            for (const auto& line : hit.lines)
                context.say("  " + line);
        }
        if (hits.empty())
            context.say("No meeting note holds that.");
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"meeting", "start", "Record a meeting: the microphone and what the speakers play",
     configureStart},
    {"meeting", "stop", "End the recording and write the note",
     configureNote<control::meetingStop>},
    {"meeting", "status", "Say whether a meeting is recorded", configureStatus},
    {"meeting", "recover", "Finish the note of a meeting that was interrupted",
     configureNote<control::meetingRecover>},
    {"meeting", "discard", "Delete a meeting that was interrupted", configureDiscard},
    {"meeting", "summarize", "Ask again for the summary that a note lacks", configureSummarize},
    {"meeting", "list", "The meeting notes, newest first", configureList},
    {"meeting", "show", "Print a meeting note", configureShow},
    {"meeting", "search", "Lines of meeting notes that hold something", configureSearch},
};

}  // namespace

std::span<const Command> meetingCommands() {
    return commands;
}

}  // namespace quillet
