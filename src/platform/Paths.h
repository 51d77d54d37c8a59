#pragma once

#include <filesystem>
#include <vector>

namespace quillet {

/// Where the program keeps its things. All of them are given; nothing below looks at the
/// environment.
struct Paths {
    std::filesystem::path home;     ///< the user's home directory
    std::filesystem::path config;   ///< settings, e.g. ~/.config/quillet
    std::filesystem::path data;     ///< application support, e.g. ~/.local/share
    std::filesystem::path runtime;  ///< sockets, e.g. /run/user/1000
    /// Folders in which the speech engine's library is looked for, the first one first.
    std::vector<std::filesystem::path> engineFolders;
    /// Folders of translations, the first one first.
    std::vector<std::filesystem::path> localeFolders;
    /// Recognition models that came with the system, for all users; may be empty.
    std::filesystem::path systemModels;
    /// A file that says which models can be downloaded; empty: Quillet's own choice.
    std::filesystem::path modelCatalogue;

    [[nodiscard]] std::filesystem::path quilletHome() const { return home / ".quillet"; }
    [[nodiscard]] std::filesystem::path sessionsDatabase() const {
        return quilletHome() / "sessions.db";
    }
    [[nodiscard]] std::filesystem::path vocabularyDatabase() const {
        return quilletHome() / "vocabulary.db";
    }
    /// Where an early version kept the vocabulary.
    [[nodiscard]] std::filesystem::path legacyDictionary() const {
        return quilletHome() / "dictionary.json";
    }
    [[nodiscard]] std::filesystem::path meetings() const { return quilletHome() / "meetings"; }
    [[nodiscard]] std::filesystem::path meetingAudio() const {
        return quilletHome() / "meeting-audio";
    }
    [[nodiscard]] std::filesystem::path review() const { return quilletHome() / "review.json"; }
    /// What a review that was broken off has asked already.
    [[nodiscard]] std::filesystem::path reviewProgress() const {
        return quilletHome() / "review-progress.json";
    }
    [[nodiscard]] std::filesystem::path knowledge() const {
        return quilletHome() / "knowledge.json";
    }
    [[nodiscard]] std::filesystem::path models() const { return quilletHome() / "models"; }
    [[nodiscard]] std::filesystem::path recordings() const {
        return data / "Quillet" / "Recordings";
    }
    [[nodiscard]] std::filesystem::path defaultsFile() const { return config / "defaults.json"; }
    [[nodiscard]] std::filesystem::path controlSocket() const { return runtime / "quillet.sock"; }
};

}  // namespace quillet
