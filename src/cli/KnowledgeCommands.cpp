#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/Asking.h"
#include "cli/Command.h"
#include "memory/KnowledgeKeeper.h"
#include "platform/linux/SystemServices.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr std::chrono::seconds timeToSave{60};
constexpr std::string_view empty = "Nothing here yet.";

KnowledgeKeeper::State stateOf(CommandContext& context) {
    return readKnowledge(context.paths.knowledge());
}

std::function<ExitCode()> configureRun(CLI::App&, CommandContext& context) {
    return [&context] {
        return ask(context, control::knowledgeRun, json(), longWork,
                   [&](const json& answer) { context.say(answer.value("report", "")); });
    };
}

ExitCode list(CommandContext& context) {
    const auto state = stateOf(context);
    if (context.json) {
        context.print(Knowledge::encode(state.store));
        return ExitCode::success;
    }
    for (const auto& category : state.store.categories) {
        const auto isIn = [&](const auto& item) { return item.category == category.id; };
        const auto count = std::ranges::count_if(state.store.items, isIn);
        context.say(fmt::format("{} ({}): {}", category.name, category.id, count));
        for (const auto& item : state.store.items) {
            if (isIn(item))
                context.say(fmt::format("  {}  {}", item.id, item.title));
        }
    }
    if (state.store.items.empty())
        context.say(empty);
    if (state.report)
        context.say(*state.report);
    return ExitCode::success;
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] { return list(context); };
}

std::function<ExitCode()> configureShow(CLI::App& parser, CommandContext& context) {
    const auto what = std::make_shared<std::string>();
    parser.add_option("what", *what, "A category's id or name, or an item's id")->required();
    return [&context, what] {
        const auto state = stateOf(context);
        const SystemCalendar calendar;
        const auto* item = state.store.item(*what);
        const auto* category = state.store.category(*what);
        if (item == nullptr && category == nullptr)
            return context.fail(fmt::format(
                "There is neither a category nor an item \"{}\". `quillet knowledge list` shows "
                "them.",
                *what));
        const auto page = item != nullptr ? Knowledge::markdown(*item, calendar)
                                          : Knowledge::markdown(state.store, *category, calendar);
        if (context.json)
            context.print({{"markdown", page}});
        else
            context.write(page);
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureSearch(CLI::App& parser, CommandContext& context) {
    const auto words = std::make_shared<std::string>();
    parser.add_option("words", *words, "Words that must all occur")->required();
    return [&context, words] {
        const auto state = stateOf(context);
        const auto wanted = queryWords(*words);
        const auto found =
            Knowledge::search(state.store, std::vector<CaselessWord>(wanted.begin(), wanted.end()));
        if (context.json) {
            json all = json::array();
            for (const auto* item : found)
                all.push_back(
                    {{"id", item->id}, {"title", item->title}, {"takeaway", item->takeaway}});
            context.print(all);
            return ExitCode::success;
        }
        for (const auto* item : found)
            context.say(fmt::format("{}  {}: {}", item->id, item->title, item->takeaway));
        if (found.empty())
            context.say("Nothing in the knowledge base holds that.");
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureDelete(CLI::App& parser, CommandContext& context) {
    const auto item = std::make_shared<std::string>();
    const auto category = std::make_shared<std::string>();
    const auto sure = std::make_shared<bool>(false);
    parser.add_option("item", *item, "An item's id");
    parser.add_option("--category", *category, "A category's id or name, with all its items");
    parser.add_flag("--yes", *sure, "Yes, delete the category's items too");
    return [&context, item, category, sure] {
        if (item->empty() == category->empty())
            return context.fail("Name either an item or a --category.", ExitCode::usage);
        if (!category->empty() && !*sure) {
            const auto state = stateOf(context);
            const auto* found = state.store.category(*category);
            if (found == nullptr)
                return context.fail(
                    fmt::format("There is no category \"{}\". `quillet knowledge list` shows them.",
                                *category));
            const auto count =
                std::ranges::count(state.store.items, found->id, &Knowledge::Item::category);
            return context.fail(fmt::format(
                "Its {} item(s) are deleted too. This cannot be undone. Add --yes to do "
                "it.",
                count));
        }
        const json params = item->empty() ? json{{"category", *category}} : json{{"item", *item}};
        return ask(context, control::knowledgeDelete, params, timeToSave,
                   [&](const json&) { context.say("Deleted."); });
    };
}

constexpr Command commands[] = {
    {"knowledge", "run", "Distil now what was said since the last time", configureRun},
    {"knowledge", "list", "Categories and their items", configureList},
    {"knowledge", "show", "A category or an item in full", configureShow},
    {"knowledge", "search", "Items that hold some words", configureSearch},
    {"knowledge", "delete", "Delete an item, or a category with its items", configureDelete},
};

}  // namespace

std::span<const Command> knowledgeCommands() {
    return commands;
}

}  // namespace quillet
