#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "base/file/FileDescriptor.h"

namespace quillet {

/// Has an open audio file decoded by a process of its own: the libraries that can do it are many,
/// and what they read was made by anybody. Blocks; ends soon after `stop` was requested.
///
/// `program` is `quillet-tools`. The samples are 16 kHz mono, of this length at most; the error is
/// a sentence.
[[nodiscard]] std::expected<std::vector<std::int16_t>, std::string> decodeAudio(
    const std::filesystem::path& program, const FileDescriptor& file, std::chrono::seconds longest,
    const std::stop_token& stop);

/// The command of `quillet-tools` that does it: the file is its standard input, the longest length
/// in seconds its only argument. It writes the samples, or fails and writes the sentence.
inline constexpr const char* decodeCommand = "decode";

}  // namespace quillet
