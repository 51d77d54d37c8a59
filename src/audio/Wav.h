#pragma once

#include <array>
#include <cstdint>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

inline constexpr std::size_t wavHeaderSize = 44;

/// The header of a file with this many bytes of 16 kHz 16-bit samples behind it.
[[nodiscard]] std::array<char, wavHeaderSize> wavHeader(std::uint32_t dataBytes,
                                                        std::uint16_t channels = 1);

/// A whole WAV file.
[[nodiscard]] std::string encodeWav(std::span<const std::int16_t> samples);

/// The samples of a file that `encodeWav` made or that was cut off while it was written. An error
/// when it holds another encoding.
[[nodiscard]] std::expected<std::vector<std::int16_t>, std::string> decodeOwnWav(
    std::string_view file);

/// Root mean square of the samples scaled to ±1.0; 0 for none.
[[nodiscard]] float rootMeanSquare(std::span<const std::int16_t> samples);

}  // namespace quillet
