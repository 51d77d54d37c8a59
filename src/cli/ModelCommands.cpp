#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "settings/AppSettings.h"
#include "speech/SpeechModels.h"
#include "speech/VoskLibrary.h"

namespace quillet {

namespace {

using nlohmann::json;

SpeechModels modelsOf(const CommandContext& context) {
    return SpeechModels(context.paths.models(), context.paths.systemModels);
}

ExitCode list(CommandContext& context) {
    const SpeechModels models = modelsOf(context);
    const auto found = models.list();
    const auto engine = VoskLibrary::find(context.paths.engineFolders);
    if (context.json) {
        json all = json::array();
        for (const auto& model : found)
            all.push_back({{"language", model.language},
                           {"folder", model.folder.string()},
                           {"problem", model.problem}});
        context.print({{"models", all}, {"engine", engine ? json(engine->string()) : json()}});
        return ExitCode::success;
    }
    for (const auto& model : found)
        context.say(
            fmt::format("{}  {}{}", model.language, model.folder.string(),
                        model.problem.empty() ? "" : "  (unusable: " + model.problem + ")"));
    if (found.empty())
        context.say(
            "No models yet. Install one with `quillet models install FOLDER_OR_ARCHIVE "
            "--language en`.");
    if (!engine)
        context.say(
            "The speech engine's library (libvosk.so) is not installed; models cannot be "
            "used without it.");
    return ExitCode::success;
}

std::function<ExitCode()> configureList(CLI::App&, CommandContext& context) {
    return [&context] { return list(context); };
}

std::function<ExitCode()> configureCheck(CLI::App& parser, CommandContext& context) {
    const auto language = std::make_shared<std::string>();
    parser.add_option("language", *language, "The model's language code")->required();
    return [&context, language] {
        const SpeechModels models = modelsOf(context);
        const auto model = models.find(*language);
        if (!model)
            return context.fail(fmt::format("There is no usable model for \"{}\": {}.", *language,
                                            modelProblem(models.folder() / *language)));
        const auto file = VoskLibrary::find(context.paths.engineFolders);
        const auto library = file ? VoskLibrary::load(*file) : nullptr;
        if (!library)
            return context.fail("The speech engine's library (libvosk.so) cannot be loaded.");
        auto* loaded = library->modelNew(model->folder.c_str());
        if (loaded == nullptr)
            return context.fail(
                fmt::format("The engine cannot read the model in {}.", model->folder.string()));
        library->modelFree(loaded);
        context.say(
            fmt::format("The model in {} is complete and can be loaded.", model->folder.string()));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureInstall(CLI::App& parser, CommandContext& context) {
    struct Choice {
        std::string source;
        std::string language;
    };
    const auto choice = std::make_shared<Choice>();
    parser.add_option("source", choice->source, "A model's folder or archive (tar, zip)")
        ->required()
        ->type_name("FILE");
    parser.add_option("--language", choice->language, "The language code: en, zh, mixed, …")
        ->required();
    return [&context, choice] {
        const auto model = modelsOf(context).install(choice->source, choice->language);
        if (!model)
            return context.fail(model.error());
        context.say(fmt::format("The model for \"{}\" is installed.", model->language));
        const auto& record = context.settings().record();
        const auto wanted = record.languageCode().value_or("mixed");
        if (wanted != model->language)
            context.say(
                fmt::format("The setting selectedLanguage is \"{}\", which needs a model "
                            "for \"{}\". To speak this one's language: quillet settings "
                            "set selectedLanguage {}",
                            record.selectedLanguage, wanted,
                            model->language == "en" ? "English" : model->language));
        return ExitCode::success;
    };
}

std::function<ExitCode()> configureRemove(CLI::App& parser, CommandContext& context) {
    const auto language = std::make_shared<std::string>();
    parser.add_option("language", *language, "The model's language code")->required();
    return [&context, language] {
        if (const auto done = modelsOf(context).remove(*language); !done)
            return context.fail(done.error());
        context.say(fmt::format("The model for \"{}\" is removed.", *language));
        return ExitCode::success;
    };
}

constexpr Command commands[] = {
    {"models", "list", "Models that are installed", configureList},
    {"models", "check", "Try whether a model can be loaded", configureCheck},
    {"models", "install", "Install a model from a folder or an archive", configureInstall},
    {"models", "remove", "Remove a model", configureRemove},
};

}  // namespace

std::span<const Command> modelCommands() {
    return commands;
}

}  // namespace quillet
