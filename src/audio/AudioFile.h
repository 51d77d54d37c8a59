#pragma once

#include <cstdint>
#include <expected>
#include <filesystem>
#include <string>
#include <vector>

namespace quillet {

/// The first audio stream of a file in any container and rate, as 16 kHz mono samples. Blocks while
/// it decodes. The error is a sentence.
[[nodiscard]] std::expected<std::vector<std::int16_t>, std::string> readAudioFile(
    const std::filesystem::path& file);

}  // namespace quillet
