#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/Command.h"
#include "cli/ControlClient.h"
#include "cli/TimeText.h"
#include "memory/HistoryErasure.h"
#include "platform/linux/SystemServices.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr int usualLimit = 20;
constexpr int largestLimit = 1'000'000;

/// The history as the command sees it.
class History {
public:
    explicit History(CommandContext& context)
        : context_(context),
          store_(context.paths.sessionsDatabase(), rules(context), std::make_shared<KernelIds>(),
                 context.log, nullptr, nullptr) {}

    SessionStore& store() { return store_; }
    template <class T>
    T run(asio::awaitable<T> task) {
        return context_.loop.run(std::move(task));
    }
    /// A sentence on what the database said last; none when all is well.
    std::optional<std::string> problem() {
        const auto error = run(store_.lastError());
        if (!error)
            return std::nullopt;
        return fmt::format("The history in {} cannot be used: {}.",
                           context_.paths.sessionsDatabase().string(), *error);
    }

private:
    /// Excluded applications are not shown here either.
    static SessionStore::Rules rules(CommandContext& context) {
        SessionStore::Rules shown;
        shown.hides =
            [excluded = context.settings().record().sessionBlacklist](const std::string& bundleID) {
                return std::ranges::find(excluded, bundleID) != excluded.end();
            };
        return shown;
    }

    CommandContext& context_;
    SessionStore store_;
};

json encode(const TranscriptEntry& entry) {
    json record = {{"id", entry.id},
                   {"session", entry.sessionID},
                   {"time", entry.timestamp.time_since_epoch().count()},
                   {"heard", entry.rawText},
                   {"text", entry.finalText},
                   {"kind", storedName(entry.kind)}};
    if (entry.appName)
        record["app"] = *entry.appName;
    if (entry.appBundleID)
        record["appId"] = *entry.appBundleID;
    if (entry.replaces)
        record["replaces"] = *entry.replaces;
    return record;
}

ExitCode show(CommandContext& context, History& history,
              const std::vector<TranscriptEntry>& entries) {
    if (const auto problem = history.problem())
        return context.fail(*problem);
    if (context.json) {
        json all = json::array();
        for (const auto& entry : entries)
            all.push_back(encode(entry));
        context.print(all);
        return ExitCode::success;
    }
    const SystemCalendar calendar;
    for (const auto& entry : entries)
        context.say(fmt::format("{}  {}  {}", timeText(entry.timestamp, calendar),
                                entry.appName.value_or("(no application)"), entry.finalText));
    if (entries.empty())
        context.say("Nothing found.");
    return ExitCode::success;
}

struct Choice {
    std::string text;
    std::string application;
    int limit = usualLimit;
};

ExitCode search(CommandContext& context, const Choice& choice) {
    History history(context);
    SessionStore::Filter filter;
    if (!choice.text.empty())
        filter.text = choice.text;
    if (!choice.application.empty())
        filter.application = choice.application;
    filter.limit = choice.limit;
    return show(context, history, history.run(history.store().search(std::move(filter))));
}

void addChoice(CLI::App& parser, Choice& choice) {
    parser.add_option("--app", choice.application, "Only this application, by name or id");
    parser.add_option("--limit", choice.limit, "At most this many, the newest")
        ->check(CLI::Range(1, largestLimit))
        ->capture_default_str();
}

std::function<ExitCode()> configureList(CLI::App& parser, CommandContext& context) {
    const auto choice = std::make_shared<Choice>();
    addChoice(parser, *choice);
    return [&context, choice] { return search(context, *choice); };
}

std::function<ExitCode()> configureSearch(CLI::App& parser, CommandContext& context) {
    const auto choice = std::make_shared<Choice>();
    parser.add_option("text", choice->text, "What was said or typed")->required();
    addChoice(parser, *choice);
    return [&context, choice] { return search(context, *choice); };
}

std::function<ExitCode()> configurePurge(CLI::App& parser, CommandContext& context) {
    const auto days = std::make_shared<int>(0);
    parser.add_option("--days", *days, "Keep this many days; by default as the settings say")
        ->check(CLI::Range(1, 36'500));
    return [&context, days] {
        History history(context);
        const int kept = *days > 0 ? *days : context.settings().record().sessionRetentionDays;
        if (!history.run(history.store().purge(kept, SystemCalendar().now())))
            return context.fail(history.problem().value_or("The history could not be purged."));
        context.say(fmt::format("What is older than {} days is deleted.", kept));
        return ExitCode::success;
    };
}

/// The running application holds some of what goes, and does it itself.
ExitCode deleteAll(CommandContext& context) {
    constexpr std::chrono::seconds timeToDelete{60};
    const auto answer = ControlClient(context.paths.controlSocket())
                            .call(control::deleteHistory, json(), timeToDelete);
    if (!answer && !answer.error().notRunning)
        return context.fail(answer.error().sentence);
    if (!answer) {
        History history(context);
        const SystemCalendar calendar;
        RecordingArchive archive(context.paths.recordings(), calendar, context.log, nullptr);
        if (!history.run(eraseHistory(history.store(), archive)))
            return context.fail(history.problem().value_or("The history could not be deleted."));
        const ReviewFile review({context.paths.review(), context.paths.reviewProgress()},
                                context.log);
        if (!forgetAllInFiles(context.paths.knowledge(), review))
            return context.fail(
                "The history is deleted, but what was noted of it could not be: see whether the "
                "disk is full, then try again.");
    }
    context.say("The history is deleted.");
    return ExitCode::success;
}

std::function<ExitCode()> configureDeleteAll(CLI::App& parser, CommandContext& context) {
    const auto sure = std::make_shared<bool>(false);
    parser.add_flag("--yes", *sure, "Yes, delete the whole history");
    return [&context, sure] {
        if (!*sure)
            return context.fail(
                "This deletes the whole history for good, with its recordings and what the "
                "knowledge base quotes from it. Add --yes to do it.");
        return deleteAll(context);
    };
}

constexpr Command commands[] = {
    {"history", "list", "The latest dictations", configureList},
    {"history", "search", "Dictations that hold a text", configureSearch},
    {"history", "purge", "Delete what is older than you want to keep", configurePurge},
    {"history", "delete-all", "Delete the whole history", configureDeleteAll},
};

}  // namespace

std::span<const Command> historyCommands() {
    return commands;
}

}  // namespace quillet
