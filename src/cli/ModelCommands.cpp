#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <asio/experimental/awaitable_operators.hpp>
#include <asio/signal_set.hpp>
#include <csignal>
#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "settings/AppSettings.h"
#include "speech/ModelDownload.h"
#include "speech/SpeechModels.h"
#include "speech/VoskLibrary.h"

namespace quillet {

namespace {

using nlohmann::json;

SpeechModels modelsOf(const CommandContext& context) {
    return SpeechModels(context.paths.models(), context.paths.systemModels);
}

/// What can be downloaded and is not there yet.
std::vector<OfferedModel> modelsToHave(const CommandContext& context) {
    auto offered = modelCatalogue(context.paths.modelCatalogue);
    const auto models = modelsOf(context);
    std::erase_if(offered, [&models](const OfferedModel& model) {
        return models.find(model.language).has_value();
    });
    return offered;
}

void printList(CommandContext& context, const std::vector<SpeechModels::Model>& found,
               const std::optional<std::filesystem::path>& engine) {
    json all = json::array();
    for (const auto& model : found)
        all.push_back({{"language", model.language},
                       {"folder", model.folder.string()},
                       {"problem", model.problem}});
    json offered = json::array();
    for (const auto& model : modelsToHave(context))
        offered.push_back(
            {{"language", model.language}, {"url", model.url}, {"bytes", model.bytes}});
    context.print({{"models", all},
                   {"offered", offered},
                   {"engine", engine ? json(engine->string()) : json()}});
}

ExitCode list(CommandContext& context) {
    const auto found = modelsOf(context).list();
    const auto engine = VoskLibrary::find(context.paths.engineFolders);
    if (context.json) {
        printList(context, found, engine);
        return ExitCode::success;
    }
    for (const auto& model : found)
        context.say(
            fmt::format("{}  {}{}", model.language, model.folder.string(),
                        model.problem.empty() ? "" : "  (unusable: " + model.problem + ")"));
    if (found.empty())
        context.say(
            "No models yet. Any Vosk model is installed with `quillet models install "
            "FOLDER_OR_ARCHIVE --language CODE`.");
    for (const auto& model : modelsToHave(context))
        context.say(
            fmt::format("{0}  not installed: `quillet models download {0}` fetches "
                        "{1:.1f} MB from {2}",
                        model.language, model.megabytes(), model.host()));
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

/// Says so, and what is left to do until it is used.
void sayInstalled(CommandContext& context, const SpeechModels::Model& model) {
    context.say(fmt::format("The model for \"{}\" is installed.", model.language));
    const auto& record = context.settings().record();
    const auto wanted = record.languageCode().value_or("mixed");
    if (wanted != model.language)
        context.say(
            fmt::format("The setting selectedLanguage is \"{}\", which needs a model for \"{}\". "
                        "To speak this one's language: quillet settings set selectedLanguage {}",
                        record.selectedLanguage, wanted, languageSetting(model.language)));
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
        sayInstalled(context, *model);
        return ExitCode::success;
    };
}

/// None where the user interrupted it.
asio::awaitable<std::optional<ModelDownload::Result>> untilInterrupted(
    ModelDownload& download, OfferedModel model, ModelDownload::OnProgress onProgress) {
    using namespace asio::experimental::awaitable_operators;
    asio::signal_set signals(co_await asio::this_coro::executor, SIGINT, SIGTERM, SIGHUP);
    auto first = co_await (download.run(std::move(model), std::move(onProgress)) ||
                           signals.async_wait(asio::use_awaitable));
    if (first.index() != 0)
        co_return std::nullopt;
    co_return std::get<0>(std::move(first));
}

std::string notOffered(std::string_view language, const std::vector<OfferedModel>& offered) {
    std::string languages;
    for (const auto& model : offered)
        languages += (languages.empty() ? "" : ", ") + model.language;
    return fmt::format(
        "There is no model for \"{}\" to download; there are those for: {}. Another one is "
        "installed with `quillet models install FOLDER_OR_ARCHIVE --language {}`.",
        language, languages, language);
}

ExitCode downloadModel(CommandContext& context, const std::string& language) {
    const auto worker = std::make_shared<SerialQueue>("models");
    ModelDownload download({context.http(ServicePurpose::modelDownload), worker, modelsOf(context),
                            modelCatalogue(context.paths.modelCatalogue)});
    const auto* model = download.find(language);
    if (model == nullptr)
        return context.fail(notOffered(language, download.offered()));
    const auto show = [&context, model](std::uint64_t bytes) {
        context.progress(
            bytes == model->bytes
                ? std::string("Installing…")
                : fmt::format("{:.1f} of {:.1f} MB", inMegabytes(bytes), model->megabytes()));
    };
    const auto installed = context.loop.run(untilInterrupted(download, *model, show));
    context.progress({});
    if (!installed)
        return context.fail("The download is cancelled; nothing was installed.");
    if (!*installed)
        return context.fail(installed->error());
    if (context.json)
        context.print({{"language", language}, {"folder", (*installed)->folder.string()}});
    else
        sayInstalled(context, **installed);
    return ExitCode::success;
}

std::function<ExitCode()> configureDownload(CLI::App& parser, CommandContext& context) {
    const auto language = std::make_shared<std::string>();
    parser.add_option("language", *language, "The language code: en or zh")->required();
    return [&context, language] { return downloadModel(context, *language); };
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
    {"models", "list", "Models that are installed, and those that can be downloaded",
     configureList},
    {"models", "check", "Try whether a model can be loaded", configureCheck},
    {"models", "download", "Download a model and install it", configureDownload},
    {"models", "install", "Install a model from a folder or an archive", configureInstall},
    {"models", "remove", "Remove a model", configureRemove},
};

}  // namespace

std::span<const Command> modelCommands() {
    return commands;
}

}  // namespace quillet
