#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "base/file/JsonFile.h"
#include "base/rpc/ControlProtocol.h"
#include "cli/Asking.h"
#include "cli/Command.h"
#include "cli/TimeText.h"
#include "memory/NightlyReview.h"
#include "platform/linux/SystemServices.h"

namespace quillet {

namespace {

using nlohmann::json;
using namespace NightlyReview;

constexpr std::chrono::seconds timeToSave{30};

std::function<ExitCode()> configureRun(CLI::App&, CommandContext& context) {
    return [&context] {
        return ask(context, control::reviewRun, json(), longWork,
                   [&](const json& answer) { context.say(answer.value("report", "")); });
    };
}

void saySuggestion(CommandContext& context, std::size_t number, const Suggestion& one) {
    const auto* mark = one.kind == Kind::fix ? "fix" : "term";
    context.say(fmt::format("{:>4}  {:<9}  {}  {} → {}", number, storedName(one.status), mark,
                            one.heard, one.written));
    if (!one.reason.empty())
        context.say("      " + one.reason);
    for (const auto& entry : one.entries) {
        if (!entry.empty())
            context.say("      from dictation " + entry);
    }
}

void sayState(CommandContext& context, const State& state, bool all) {
    const SystemCalendar calendar;
    if (state.lastRun)
        context.say("Last review: " + timeText(*state.lastRun, calendar));
    context.say(state.report.value_or("No review yet."));
    std::size_t shown = 0;
    for (std::size_t i = 0; i < state.suggestions.size(); ++i) {
        const auto& one = state.suggestions[i];
        const bool wanted = all || one.status == Status::pending || one.status == Status::learned;
        if (!wanted)
            continue;
        ++shown;
        saySuggestion(context, i + 1, one);
    }
    if (shown > 0)
        context.say(
            "`quillet review accept N` learns a term (a fix is only noted), `dismiss N` drops it, "
            "`undo N` takes back what was learned.");
    if (!state.memory.profile.empty())
        context.say("About you: " + state.memory.profile);
    if (!state.memory.terms.empty())
        context.say(fmt::format("Your terms: {}", fmt::join(state.memory.terms, ", ")));
}

std::function<ExitCode()> configureShow(CLI::App& parser, CommandContext& context) {
    const auto all = std::make_shared<bool>(false);
    parser.add_flag("--all", *all, "Also what you have accepted or dismissed");
    return [&context, all] {
        const auto file = readJsonFile(context.paths.review());
        if (!file && file.error() != FileError::notFound)
            return context.fail(fmt::format("The state of the review in {} cannot be read.",
                                            context.paths.review().string()));
        const auto state = file ? decodeState(*file).value_or(State{}) : State{};
        if (context.json)
            context.print(encode(state));
        else
            sayState(context, state, *all);
        return ExitCode::success;
    };
}

template <const std::string_view& Method>
std::function<ExitCode()> configureAnswer(CLI::App& parser, CommandContext& context) {
    const auto number = std::make_shared<std::size_t>(0);
    parser.add_option("number", *number, "The suggestion's number, as `review show` lists it")
        ->required()
        ->check(CLI::PositiveNumber);
    return [&context, number] {
        return ask(context, Method, {{"number", *number}}, timeToSave,
                   [&](const json&) { context.say("Done."); });
    };
}

std::function<ExitCode()> configureUndo(CLI::App& parser, CommandContext& context) {
    const auto number = std::make_shared<std::size_t>(0);
    parser
        .add_option("number", *number,
                    "The suggestion to take back; without one, all that the last review did")
        ->check(CLI::PositiveNumber);
    return [&context, number] {
        const json params = *number > 0 ? json{{"number", *number}} : json::object();
        return ask(context, control::reviewUndo, params, timeToSave,
                   [&](const json&) { context.say("Done."); });
    };
}

constexpr Command commands[] = {
    {"review", "run", "Review now what was dictated since the last review", configureRun},
    {"review", "show", "What the reviews found, and what waits for you", configureShow},
    {"review", "accept", "Learn a suggestion", configureAnswer<control::reviewAccept>},
    {"review", "dismiss", "Drop a suggestion", configureAnswer<control::reviewDismiss>},
    {"review", "undo", "Take back what was learned", configureUndo},
};

}  // namespace

std::span<const Command> reviewCommands() {
    return commands;
}

}  // namespace quillet
