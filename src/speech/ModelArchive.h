#pragma once

#include <expected>
#include <filesystem>
#include <stop_token>
#include <string>

namespace quillet {

/// Unpacks a tar or zip archive into a new folder. Nothing is ever written outside it. The error is
/// the reason, for people. Told to stop, it ends early.
[[nodiscard]] std::expected<void, std::string> extractArchive(const std::filesystem::path& archive,
                                                              const std::filesystem::path& folder,
                                                              const std::stop_token& stop);

}  // namespace quillet
