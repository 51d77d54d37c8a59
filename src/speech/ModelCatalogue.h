#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quillet {

/// A recognition model that can be downloaded: an archive that is known to the byte.
struct OfferedModel {
    std::string language;  ///< "en"
    std::string url;
    std::uint64_t bytes = 0;
    std::string sha256;  ///< 64 small hexadecimal digits

    /// "models.example.com"
    [[nodiscard]] std::string host() const;
    [[nodiscard]] double megabytes() const;
};

[[nodiscard]] double inMegabytes(std::uint64_t bytes);

/// The models that are offered: Quillet's own choice, or that of a file in its place, such as a
/// company's that points to a server nearby. A file that cannot be used offers nothing.
///     [{"language": "en", "url": "https://…", "bytes": 41205931, "sha256": "30f2…"}, …]
[[nodiscard]] std::vector<OfferedModel> modelCatalogue(const std::filesystem::path& file = {});

}  // namespace quillet
