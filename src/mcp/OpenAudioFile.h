#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>

#include "mcp/AgentControl.h"

namespace quillet {

/// A larger file is not transcribed.
inline constexpr std::int64_t largestAudioFile = 25'000'000;

/// Opens an audio file that a client names, if it is one: a regular file, called as audio files
/// are, by the path and where a link leads. A link is followed only out of a folder that the user
/// may list. Looks at what it has opened, so that nobody can put another file in its place. The
/// error is a sentence for the client. Blocks, but on a disk only.
[[nodiscard]] std::expected<AgentControl::AudioFile, std::string> openAudioFile(
    std::string_view path);

}  // namespace quillet
