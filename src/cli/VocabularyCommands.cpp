#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"
#include "base/text/Text.h"
#include "cli/Command.h"
#include "platform/linux/SystemServices.h"
#include "settings/AppSettings.h"
#include "speech/cleanup/Cleanup.h"
#include "store/VocabularyDB.h"
#include "store/VocabularyFile.h"

namespace quillet {

namespace {

using nlohmann::json;

/// The vocabulary for the time of one command.
class Vocabulary {
public:
    explicit Vocabulary(CommandContext& context)
        : context_(context),
          db_({context.paths.vocabularyDatabase(), context.paths.legacyDictionary()}, context.log,
              nullptr) {}

    VocabularyDB& db() { return db_; }
    template <class T>
    T run(asio::awaitable<T> task) {
        return context_.loop.run(std::move(task));
    }
    /// A sentence on the database, where that is what went wrong.
    ExitCode fail(std::string_view otherwise) {
        const auto problem = run(db_.lastError());
        if (!problem)
            return context_.fail(otherwise);
        return context_.fail(fmt::format("The vocabulary at {} cannot be used: {}",
                                         context_.paths.vocabularyDatabase().string(), *problem));
    }
    bool works() { return !run(db_.lastError()); }

private:
    CommandContext& context_;
    VocabularyDB db_;
};

struct Pair {
    std::string original;
    std::string corrected;
};

std::shared_ptr<Pair> addPair(CLI::App& parser) {
    auto pair = std::make_shared<Pair>();
    parser.add_option("heard", pair->original, "What recognition writes")->required();
    parser.add_option("written", pair->corrected, "What you write")->required();
    return pair;
}

json encoded(const VocabEntry& entry) {
    return {{"original", entry.original},
            {"corrected", entry.corrected},
            {"frequency", entry.frequency},
            {"source", entry.source}};
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] {
        Vocabulary vocabulary(context);
        const auto entries = vocabulary.run(vocabulary.db().allEntries());
        if (!vocabulary.works())
            return vocabulary.fail("");
        json all = json::array();
        for (const auto& entry : *entries) {
            all.push_back(encoded(entry));
            if (!context.json)
                context.say(fmt::format("{} → {}  ({}, {})", entry.original, entry.corrected,
                                        entry.frequency, entry.source));
        }
        if (context.json)
            context.print(all);
        else if (entries->empty())
            context.say(
                "The vocabulary is empty. Add a pair: quillet vocabulary add HEARD WRITTEN");
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureAdd(CLI::App& parser, CommandContext& context) {
    const auto pair = addPair(parser);
    return [&context, pair] {
        if (const auto usable = checkPair(pair->original, pair->corrected); !usable)
            return context.fail(usable.error());
        Vocabulary vocabulary(context);
        const bool stored = vocabulary.run(vocabulary.db().learn(
            pair->original, pair->corrected, 1.0, std::string(vocabulary_source::manual)));
        return stored ? ExitCode::success : vocabulary.fail("The pair could not be stored.");
    };
}

std::function<ExitCode()> configureRemove(CLI::App& parser, CommandContext& context) {
    const auto pair = addPair(parser);
    return [&context, pair] {
        Vocabulary vocabulary(context);
        if (vocabulary.run(vocabulary.db().remove(pair->original, pair->corrected)))
            return ExitCode::success;
        return vocabulary.fail(
            fmt::format("There is no pair \"{} → {}\". `quillet vocabulary list` "
                        "shows all of them.",
                        pair->original, pair->corrected));
    };
}

std::function<ExitCode()> configureExport(CLI::App&, CommandContext& context) {
    return [&context] {
        Vocabulary vocabulary(context);
        const auto entries = vocabulary.run(vocabulary.db().exportForSync());
        if (!vocabulary.works())
            return vocabulary.fail("");
        context.print(encodeVocabulary(entries));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureImport(CLI::App& parser, CommandContext& context) {
    const auto file = std::make_shared<std::string>();
    parser
        .add_option("file", *file,
                    "A file that `quillet vocabulary export` wrote, or a JSON "
                    "object {\"heard\": \"written\"}")
        ->required()
        ->type_name("FILE");
    return [&context, file] {
        const auto content = readJsonFile(*file == "-" ? "/dev/stdin" : *file);
        if (!content && content.error() != FileError::malformed)
            return context.fail(fmt::format("{} cannot be read.", *file));
        auto imported = content ? decodeVocabulary(*content, SystemCalendar().now()) : std::nullopt;
        if (!imported)
            return context.fail(
                fmt::format("{} holds no vocabulary: wanted is what `quillet vocabulary export` "
                            "writes, or a JSON object {{\"heard\": \"written\"}}.",
                            *file));
        const auto taken = imported->entries.size();
        if (taken == 0)
            return context.fail(fmt::format("{} holds no pair that could be used.", *file));
        Vocabulary vocabulary(context);
        if (!vocabulary.run(vocabulary.db().mergeFromSync(std::move(imported->entries), {})))
            return vocabulary.fail("Nothing was imported.");
        if (context.json)
            context.print({{"imported", taken}, {"leftOut", imported->leftOut}});
        else
            context.say(fmt::format("Pairs imported: {}.", taken));
        if (!context.json && imported->leftOut > 0)
            context.say(
                fmt::format("Left out, for they are no usable pairs: {}.", imported->leftOut));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureResetLearned(CLI::App& parser, CommandContext& context) {
    const auto sure = std::make_shared<bool>(false);
    parser.add_flag("--yes", *sure, "Yes, delete them");
    return [&context, sure] {
        Vocabulary vocabulary(context);
        if (!*sure) {
            const auto entries = vocabulary.run(vocabulary.db().allEntries());
            if (!vocabulary.works())
                return vocabulary.fail("");
            const auto learned = std::ranges::count_if(*entries, [](const VocabEntry& entry) {
                return entry.source != vocabulary_source::manual;
            });
            return context.fail(
                fmt::format("Delete {} auto-learned entries? Add --yes to do it.", learned));
        }
        const int deleted = vocabulary.run(vocabulary.db().resetAutoLearned());
        if (!vocabulary.works())
            return vocabulary.fail("");
        if (context.json)
            context.print({{"deleted", deleted}});
        else
            context.say(fmt::format("{} auto-learned entries are deleted.", deleted));
        return ExitCode::success;
    };
}

// --- Snippets ------------------------------------------------------------------------------------

constexpr std::size_t shortestTrigger = 2;

std::function<ExitCode()> configureSnippetList(CLI::App&, CommandContext& context) {
    return [&context] {
        json all = json::array();
        for (const auto& snippet : context.settings().record().snippets) {
            all.push_back(
                {{"id", snippet.id}, {"trigger", snippet.trigger}, {"text", snippet.text}});
            if (!context.json)
                context.say(fmt::format("{} → {}", snippet.trigger, snippet.text));
        }
        if (context.json)
            context.print(all);
        else if (all.empty())
            context.say("There are no snippets. Add one: quillet snippets add TRIGGER TEXT");
        return ExitCode::success;
    };
}

std::string allOf(std::istream& in) {
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// What `echo` and editors put at the end of a text is not part of it.
std::string withoutLastLineBreak(std::string text) {
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

std::function<ExitCode()> configureSnippetAdd(CLI::App& parser, CommandContext& context) {
    struct Choice {
        std::string trigger;
        std::optional<std::string> text;
    };
    const auto choice = std::make_shared<Choice>();
    parser.add_option("trigger", choice->trigger, "What you say")->required();
    parser.add_option("text", choice->text, "What is typed; read from standard input without it");
    return [&context, choice] {
        const auto key = comparisonForm(choice->trigger);
        if (characterCount(key) < shortestTrigger)
            return context.fail("A trigger needs at least 2 characters, marks and blanks aside.");
        Snippet snippet{"", choice->trigger,
                        choice->text ? *choice->text : withoutLastLineBreak(allOf(std::cin))};
        if (snippet.text.empty())
            return context.fail("A snippet needs a text to be typed.");
        const auto& before = context.settings().record().snippets;
        if (std::ranges::any_of(
                before, [&key](const Snippet& one) { return comparisonForm(one.trigger) == key; }))
            return context.fail(fmt::format(
                "There is a snippet for \"{}\" already. Remove it first: quillet snippets remove "
                "\"{}\"",
                choice->trigger, choice->trigger));
        snippet.id = context.freshId();
        const bool saved = context.settings().change(
            [&snippet](QuilletSettings& record) { record.snippets.push_back(std::move(snippet)); });
        return saved ? ExitCode::success : context.fail("The settings could not be saved.");
    };
}

std::function<ExitCode()> configureSnippetRemove(CLI::App& parser, CommandContext& context) {
    const auto trigger = std::make_shared<std::string>();
    parser.add_option("trigger", *trigger, "What you say for it")->required();
    return [&context, trigger] {
        const auto key = comparisonForm(*trigger);
        std::size_t removed = 0;
        const bool saved = context.settings().change([&removed, &key](QuilletSettings& record) {
            removed = std::erase_if(record.snippets, [&key](const Snippet& one) {
                return comparisonForm(one.trigger) == key;
            });
        });
        if (removed == 0)
            return context.fail(
                fmt::format("There is no snippet for \"{}\". `quillet snippets "
                            "list` shows all of them.",
                            *trigger));
        return saved ? ExitCode::success : context.fail("The settings could not be saved.");
    };
}

// --- Clean-up ------------------------------------------------------------------------------------

std::function<ExitCode()> configureClean(CLI::App& parser, CommandContext& context) {
    const auto raw = std::make_shared<bool>(false);
    parser.add_flag("--raw", *raw, "As the raw output mode does: leave the commas of pauses");
    return [&context, raw] {
        Vocabulary vocabulary(context);
        const auto entries = vocabulary.run(vocabulary.db().allEntries());
        const auto cleaned = cleanTranscript(allOf(std::cin), context.settings().record().snippets,
                                             VocabularyMatcher(*entries));
        const auto text = cleaned.isSnippet ? cleaned.text
                                            : finishedText(cleaned.text, *raw ? Punctuation::raw
                                                                              : Punctuation::full);
        if (context.json)
            context.print({{"text", text}, {"snippet", cleaned.isSnippet}});
        else if (cleaned.isSnippet)
            context.write(text);
        else
            context.say(text);
        return vocabulary.works() ? ExitCode::success : vocabulary.fail("");
    };
}

constexpr Command commands[] = {
    {"", "clean", "Clean a transcript up: from standard input to standard output", configureClean},
    {"vocabulary", "list", "All pairs, the most used first", configureList},
    {"vocabulary", "add", "Write something else for what recognition hears", configureAdd},
    {"vocabulary", "remove", "Delete a pair", configureRemove},
    {"vocabulary", "import", "Add the pairs of a file", configureImport},
    {"vocabulary", "export", "All pairs as JSON", configureExport},
    {"vocabulary", "reset-learned", "Delete what you did not add by hand", configureResetLearned},
    {"snippets", "list", "All snippets", configureSnippetList},
    {"snippets", "add", "Have a text typed when you say its trigger", configureSnippetAdd},
    {"snippets", "remove", "Delete a snippet", configureSnippetRemove},
};

}  // namespace

std::span<const Command> vocabularyCommands() {
    return commands;
}

}  // namespace quillet
