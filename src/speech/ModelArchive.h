#pragma once

#include <expected>
#include <filesystem>
#include <string>

namespace quillet {

/// Unpacks a tar or zip archive into a new folder. Nothing is ever written outside it. The error is
/// a sentence.
[[nodiscard]] std::expected<void, std::string> extractArchive(const std::filesystem::path& archive,
                                                              const std::filesystem::path& folder);

}  // namespace quillet
