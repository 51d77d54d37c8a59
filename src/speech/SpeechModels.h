#pragma once

#include <expected>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// The recognition models on this machine: one folder a language, named by its code ("en", "zh",
/// "mixed", …). Those that came with the system, for all users, are only read; one of the user's
/// own stands before one of the system for the same language.
class SpeechModels {
public:
    struct Model {
        std::string language;
        std::filesystem::path folder;
        std::string problem;  ///< a sentence; empty when the model is complete
    };

    explicit SpeechModels(std::filesystem::path folder, std::filesystem::path systemFolder = {})
        : folder_(std::move(folder)), systemFolder_(std::move(systemFolder)) {}

    /// By language.
    [[nodiscard]] std::vector<Model> list() const;

    /// The complete model for a language; for "en-GB" that of "en" serves too.
    [[nodiscard]] std::optional<Model> find(std::string_view language) const;

    /// Installs the model that lies in a folder or an archive (tar in any compression, zip), in the
    /// place of one that was there. The error is a sentence; what was installed is then untouched.
    /// Told to stop, it ends early with an error.
    [[nodiscard]] std::expected<Model, std::string> install(const std::filesystem::path& source,
                                                            std::string_view language,
                                                            const std::stop_token& stop = {}) const;
    [[nodiscard]] std::expected<void, std::string> remove(std::string_view language) const;

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

private:
    /// Puts the model that lies in a folder or an archive into the target, a new folder.
    [[nodiscard]] std::expected<void, std::string> gather(const std::filesystem::path& source,
                                                          const std::filesystem::path& target,
                                                          const std::stop_token& stop) const;
    [[nodiscard]] std::expected<Model, std::string> putInPlace(const std::filesystem::path& model,
                                                               std::string_view language) const;

    std::filesystem::path folder_;
    std::filesystem::path systemFolder_;  // may be empty
};

/// What a model folder lacks, as a sentence; empty when it is complete.
[[nodiscard]] std::string modelProblem(const std::filesystem::path& folder);

}  // namespace quillet
