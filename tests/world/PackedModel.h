#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/file/JsonFile.h"
#include "base/file/Sha256.h"
#include "speech/ModelCatalogue.h"

namespace quillet::world {

/// A model as a server offers it: complete in its parts, though nothing can be recognised with it.
struct PackedModel {
    explicit PackedModel(const std::filesystem::path& below)
        : folder(below / "vosk-model-0.1"), file(below / "model.tar.gz") {
        std::filesystem::create_directories(folder / "am");
        std::filesystem::create_directories(folder / "graph");
        std::ofstream(folder / "am/final.mdl") << noise(300'000);
        std::ofstream(folder / "graph/HCLG.fst") << "graph";
        const auto pack = "tar -C " + below.string() + " -czf " + file.string() + " vosk-model-0.1";
        if (std::system(pack.c_str()) == 0)
            archive = readFile(file).value_or("");
    }

    [[nodiscard]] OfferedModel offered(std::string language, std::string url) const {
        return offered(archive, std::move(language), std::move(url));
    }
    [[nodiscard]] static OfferedModel offered(const std::string& archive, std::string language,
                                              std::string url) {
        Sha256 checksum;
        checksum.add(archive);
        return {std::move(language), std::move(url), archive.size(), checksum.digits()};
    }

    std::filesystem::path folder;
    std::filesystem::path file;
    std::string archive;

private:
    /// Bytes that do not become fewer when they are packed.
    static std::string noise(std::size_t size) {
        std::string bytes(size, '\0');
        std::uint32_t state = 1;
        for (auto& byte : bytes) {
            state = state * 1'664'525U + 1'013'904'223U;
            byte = static_cast<char>(state >> 24U);
        }
        return bytes;
    }
};

}  // namespace quillet::world
