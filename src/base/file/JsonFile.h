#pragma once

#include <expected>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace quillet {

enum class FileError { notFound, unreadable, unwritable, malformed };

/// The whole file. `notFound` when there is none.
[[nodiscard]] std::expected<std::string, FileError> readFile(const std::filesystem::path& path);

/// Replaces the file's content so that a reader, or a crash at any moment, sees the old content or
/// the new one and never a part. Creates missing folders (mode 0700); the file has mode 0600.
[[nodiscard]] std::expected<void, FileError> writeFileAtomically(const std::filesystem::path& path,
                                                                 std::string_view content);

/// `malformed` when the file is no JSON.
[[nodiscard]] std::expected<nlohmann::json, FileError> readJsonFile(
    const std::filesystem::path& path);

/// Pretty-printed with sorted keys, written atomically.
[[nodiscard]] std::expected<void, FileError> writeJsonFile(const std::filesystem::path& path,
                                                           const nlohmann::json& value);

}  // namespace quillet
