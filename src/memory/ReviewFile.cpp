#include "memory/ReviewFile.h"

#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"
#include "memory/ForgottenReview.h"

namespace quillet {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr const char* commitKey = "commit";

json encode(const std::vector<VocabEntry>& entries) {
    json all = json::array();
    for (const auto& one : entries)
        all.push_back({{"original", one.original},
                       {"corrected", one.corrected},
                       {"frequency", one.frequency},
                       {"source", one.source}});
    return all;
}

std::vector<VocabEntry> decodeEntries(const json& all) {
    std::vector<VocabEntry> entries;
    for (const auto& one : all)
        entries.push_back({one.at("original").get<std::string>(),
                           one.at("corrected").get<std::string>(), one.at("frequency").get<int>(),
                           one.at("source").get<std::string>()});
    return entries;
}

json encode(const ReviewCommit& commit) {
    json learn = json::array();
    for (const auto& one : commit.learn)
        learn.push_back({{"heard", one.heard},
                         {"written", one.written},
                         {"confidence", one.confidence},
                         {"source", one.source}});
    return {{"learn", std::move(learn)},
            {"remove", encode(commit.remove)},
            {"restore", encode(commit.restore)},
            {"forget", encode(commit.forget)},
            {"next", NightlyReview::encode(commit.next)}};
}

std::optional<ReviewCommit> decodeCommit(const json& value) {
    try {
        ReviewCommit commit;
        for (const auto& one : value.at("learn"))
            commit.learn.push_back(
                {one.at("heard").get<std::string>(), one.at("written").get<std::string>(),
                 one.at("confidence").get<double>(), one.at("source").get<std::string>()});
        commit.remove = decodeEntries(value.at("remove"));
        commit.restore = decodeEntries(value.at("restore"));
        commit.forget = decodeEntries(value.at("forget"));
        auto next = NightlyReview::decodeState(value.at("next"));
        if (!next)
            return std::nullopt;
        commit.next = std::move(*next);
        return commit;
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

std::map<std::string, std::string> textsIn(const json& value, const char* name) {
    std::map<std::string, std::string> texts;
    if (!value.is_object() || !value.contains(name) || !value[name].is_object())
        return texts;
    for (const auto& [key, text] : value[name].items()) {
        if (text.is_string())
            texts.emplace(key, text.get<std::string>());
    }
    return texts;
}

}  // namespace

ReviewFile::Content ReviewFile::load() {
    const auto file = readJsonFile(paths_.state);
    if (!file && file.error() == FileError::notFound)
        return {};
    auto state = file ? NightlyReview::decodeState(*file) : std::nullopt;
    if (!state) {
        std::error_code ec;
        fs::rename(paths_.state, paths_.state.string() + ".damaged", ec);
        log_.error("The state of the review cannot be read; it is kept as {}.damaged",
                   paths_.state.string());
        return {};
    }
    Content content{std::move(*state), std::nullopt};
    if (file->contains(commitKey))
        content.commit = decodeCommit((*file)[commitKey]);
    if (file->contains(commitKey) && !content.commit)
        log_.error("What the last review was about to do cannot be read; it is left out");
    return content;
}

bool ReviewFile::save(const NightlyReview::State& state, const ReviewCommit* commit) {
    auto record = NightlyReview::encode(state);
    if (commit != nullptr)
        record[commitKey] = encode(*commit);
    const bool saved = writeJsonFile(paths_.state, record).has_value();
    if (!saved)
        log_.error("Couldn't save the review: {} cannot be written", paths_.state.string());
    return saved;
}

ReviewProgress ReviewFile::loadProgress() {
    const auto file = readJsonFile(paths_.progress);
    if (!file || !file->is_object() || !file->value("since", json()).is_number())
        return {};
    return {(*file)["since"].get<double>(), textsIn(*file, "again"), textsIn(*file, "replies")};
}

bool ReviewFile::saveProgress(const ReviewProgress& progress) {
    return writeJsonFile(paths_.progress, {{"since", progress.since},
                                           {"again", progress.again},
                                           {"replies", progress.replies}})
        .has_value();
}

void ReviewFile::removeProgress() {
    std::error_code ec;
    fs::remove(paths_.progress, ec);
}

bool ReviewFile::forget(const DeletedDictations& deleted) {
    removeProgress();
    if (!fs::exists(paths_.state))
        return true;
    auto content = load();
    (void)NightlyReview::forget(content.state, deleted);
    if (content.commit)
        (void)NightlyReview::forget(content.commit->next, deleted);
    return save(content.state, content.commit ? &*content.commit : nullptr);
}

}  // namespace quillet
