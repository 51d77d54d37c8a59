#include "speech/SpeechModels.h"

#include <algorithm>
#include <memory>

#include "base/text/Sentence.h"
#include "base/text/Translation.h"
#include "speech/ModelArchive.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view unfinishedSuffix = ".installing";
constexpr std::string_view extractedSuffix = ".extracted";
constexpr std::string_view replacedSuffix = ".replaced";

bool isLanguageName(std::string_view name) {
    return !name.empty() && name.front() != '.' && std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

/// The folder at or below `root` that holds a model; archives usually wrap it in one of their own.
std::optional<fs::path> modelWithin(const fs::path& root) {
    constexpr int deepest = 4;
    if (modelProblem(root).empty())
        return root;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(root, ec);
         it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it.depth() > deepest)
            it.disable_recursion_pending();
        if (it->is_directory(ec) && modelProblem(it->path()).empty())
            return it->path();
    }
    return std::nullopt;
}

/// Copies a folder file by file; the error is the reason, for people.
std::expected<void, std::string> copyFolder(const fs::path& from, const fs::path& to,
                                            const std::stop_token& stop) {
    std::error_code ec;
    fs::create_directories(to, ec);
    for (auto it = fs::recursive_directory_iterator(
             from, fs::directory_options::follow_directory_symlink, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (stop.stop_requested())
            return std::unexpected(translated("it was cancelled"));
        const auto place = to / it->path().lexically_relative(from);
        if (it->is_directory(ec))
            fs::create_directories(place, ec);
        else if (it->is_regular_file(ec))
            fs::copy_file(it->path(), place, ec);
        if (ec)
            break;
    }
    if (ec)
        return std::unexpected(ec.message());
    return {};
}

class FolderOnProbation {
public:
    explicit FolderOnProbation(fs::path path) : path_(std::move(path)) { clear(); }
    ~FolderOnProbation() { clear(); }
    FolderOnProbation(const FolderOnProbation&) = delete;
    FolderOnProbation& operator=(const FolderOnProbation&) = delete;
    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    void clear() const {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    fs::path path_;
};

}  // namespace

std::string modelProblem(const fs::path& folder) {
    std::error_code ec;
    const auto has = [&](const char* name) { return fs::exists(folder / name, ec); };
    // Models come in two layouts: sorted into folders, or all in one.
    const bool sorted = has("am/final.mdl");
    if (!sorted && !has("final.mdl"))
        return std::string(toTranslate("its acoustic model (am/final.mdl) is missing"));
    const fs::path graph = sorted ? folder / "graph" : folder;
    const bool whole = fs::exists(graph / "HCLG.fst", ec);
    const bool split = fs::exists(graph / "HCLr.fst", ec) && fs::exists(graph / "Gr.fst", ec);
    if (!whole && !split)
        return std::string(toTranslate(
            "its decoding graph (graph/HCLG.fst, or graph/HCLr.fst and graph/Gr.fst) is missing"));
    return {};
}

std::vector<SpeechModels::Model> SpeechModels::list() const {
    std::vector<Model> models;
    std::error_code ec;
    for (const auto& folder : {folder_, systemFolder_}) {
        for (const auto& entry : fs::directory_iterator(folder, ec)) {
            const auto name = entry.path().filename().string();
            if (isLanguageName(name) && entry.is_directory(ec) &&
                std::ranges::find(models, name, &Model::language) == models.end())
                models.push_back({name, entry.path(), modelProblem(entry.path())});
        }
    }
    std::ranges::sort(models, {}, &Model::language);
    return models;
}

std::optional<SpeechModels::Model> SpeechModels::find(std::string_view language) const {
    const auto primary = language.substr(0, language.find('-'));
    for (const auto name : {language, primary}) {
        if (!isLanguageName(name))
            continue;
        for (const auto& folder : {folder_, systemFolder_}) {
            if (modelProblem(folder / name).empty())
                return Model{std::string(name), folder / name, {}};
        }
    }
    return std::nullopt;
}

std::expected<SpeechModels::Model, std::string> SpeechModels::install(
    const fs::path& source, std::string_view language, const std::stop_token& stop) const {
    if (!isLanguageName(language))
        return std::unexpected(sentence(
            translated("\"{}\" is not a language code. Use letters, such as en, zh or mixed."),
            language));
    std::error_code ec;
    if (!fs::exists(source, ec))
        return std::unexpected(sentence(translated("There is no {}."), source.string()));
    fs::create_directories(folder_, ec);
    const FolderOnProbation unfinished(
        folder_ / ("." + std::string(language) + std::string(unfinishedSuffix)));
    if (const auto done = gather(source, unfinished.path(), stop); !done)
        return std::unexpected(done.error());
    return putInPlace(unfinished.path(), language);
}

std::expected<void, std::string> SpeechModels::gather(const fs::path& source,
                                                      const fs::path& target,
                                                      const std::stop_token& stop) const {
    std::error_code ec;
    const bool isArchive = !fs::is_directory(source, ec);
    const FolderOnProbation extracted(target.string() + std::string(extractedSuffix));
    if (isArchive) {
        if (const auto done = extractArchive(source, extracted.path(), stop); !done)
            return std::unexpected(
                sentence(translated("The archive cannot be unpacked: {}."), done.error()));
    }
    const auto& root = isArchive ? extracted.path() : source;
    const auto model = modelWithin(root);
    if (!model)
        return std::unexpected(sentence(translated("There is no recognition model in it: {}."),
                                        translated(modelProblem(root))));
    auto copied = std::expected<void, std::string>();
    if (!isArchive)
        copied = copyFolder(*model, target, stop);
    else if (fs::rename(*model, target, ec); ec)
        copied = std::unexpected(ec.message());
    if (!copied)
        return std::unexpected(sentence(translated("The model could not be copied to {}: {}."),
                                        folder_.string(), copied.error()));
    return {};
}

std::expected<SpeechModels::Model, std::string> SpeechModels::putInPlace(
    const fs::path& model, std::string_view language) const {
    std::error_code ec;
    const auto place = folder_ / language;
    const FolderOnProbation replaced(folder_ /
                                     ("." + std::string(language) + std::string(replacedSuffix)));
    fs::rename(place, replaced.path(), ec);
    fs::rename(model, place, ec);
    if (ec) {
        std::error_code ignored;
        fs::rename(replaced.path(), place, ignored);
        return std::unexpected(
            sentence(translated("The model could not be put into place: {}."), ec.message()));
    }
    return Model{std::string(language), place, {}};
}

std::expected<void, std::string> SpeechModels::remove(std::string_view language) const {
    std::error_code ec;
    const bool isOwn =
        isLanguageName(language) && fs::exists(fs::symlink_status(folder_ / language, ec));
    if (!isOwn && find(language))
        return std::unexpected(fmt::format(
            "The model for \"{}\" came with the system and is removed with it only.", language));
    if (!isOwn)
        return std::unexpected(fmt::format(
            "There is no model for \"{}\". `quillet models list` shows all of them.", language));
    fs::remove_all(folder_ / language, ec);
    if (ec)
        return std::unexpected(fmt::format("The model could not be removed: {}.", ec.message()));
    return {};
}

}  // namespace quillet
