#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>
#include <vector>

#include "base/file/FileDescriptor.h"

namespace quillet {

/// The first audio stream of a file in any container and rate, as 16 kHz mono samples. Blocks while
/// it decodes. The error is a sentence.
[[nodiscard]] std::expected<std::vector<std::int16_t>, std::string> readAudioFile(
    const std::filesystem::path& file);

/// The same of an open file that somebody else chose: only in the containers that are called audio
/// files, which lead to no other file and no address, and of this length at most.
[[nodiscard]] std::expected<std::vector<std::int16_t>, std::string> readAudioFile(
    const FileDescriptor& file, std::chrono::seconds longest);

}  // namespace quillet
