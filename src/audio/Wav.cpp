#include "audio/Wav.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace quillet {

namespace {

static_assert(std::endian::native == std::endian::little,
              "samples are stored as they lie in memory");

constexpr std::uint32_t sampleRate = 16'000;
constexpr std::uint32_t bytesPerSecond = 32'000;

class HeaderWriter {
public:
    void text(std::string_view four) {
        std::ranges::copy(four, header_.begin() + static_cast<std::ptrdiff_t>(at_));
        at_ += four.size();
    }
    template <class Number>
    void number(Number value) {
        std::memcpy(header_.data() + at_, &value, sizeof value);
        at_ += sizeof value;
    }
    [[nodiscard]] std::array<char, wavHeaderSize> header() const { return header_; }

private:
    std::array<char, wavHeaderSize> header_{};
    std::size_t at_ = 0;
};

}  // namespace

std::array<char, wavHeaderSize> wavHeader(std::uint32_t dataBytes, std::uint16_t channels) {
    constexpr std::uint32_t afterRiff = wavHeaderSize - 8;
    HeaderWriter w;
    w.text("RIFF");
    w.number(dataBytes > std::numeric_limits<std::uint32_t>::max() - afterRiff
                 ? std::numeric_limits<std::uint32_t>::max()
                 : dataBytes + afterRiff);
    w.text("WAVEfmt ");
    w.number(std::uint32_t{16});
    w.number(std::uint16_t{1});  // PCM
    w.number(channels);
    w.number(sampleRate);
    w.number(bytesPerSecond * channels);
    w.number(static_cast<std::uint16_t>(2 * channels));  // bytes a frame
    w.number(std::uint16_t{16});                         // bits a sample
    w.text("data");
    w.number(dataBytes);
    return w.header();
}

std::string encodeWav(std::span<const std::int16_t> samples) {
    const auto header = wavHeader(static_cast<std::uint32_t>(samples.size_bytes()));
    std::string file;
    file.resize(wavHeaderSize + samples.size_bytes());
    std::ranges::copy(header, file.begin());
    if (!samples.empty())
        std::memcpy(file.data() + wavHeaderSize, samples.data(), samples.size_bytes());
    return file;
}

std::expected<std::vector<std::int16_t>, std::string> decodeOwnWav(std::string_view file) {
    // Everything but the two lengths, which a cut-off file does not have yet, must be ours.
    const auto expectedHeader = wavHeader(0);
    const auto sameBytes = [&](std::size_t from, std::size_t to) {
        return std::equal(file.begin() + static_cast<std::ptrdiff_t>(from),
                          file.begin() + static_cast<std::ptrdiff_t>(to),
                          expectedHeader.begin() + static_cast<std::ptrdiff_t>(from));
    };
    if (file.size() < wavHeaderSize || !sameBytes(0, 4) || !sameBytes(8, 40))
        return std::unexpected("not a 16 kHz mono 16-bit WAV file");
    const auto data = file.substr(wavHeaderSize);
    std::vector<std::int16_t> samples(data.size() / sizeof(std::int16_t));
    if (!samples.empty())
        std::memcpy(samples.data(), data.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

float rootMeanSquare(std::span<const std::int16_t> samples) {
    if (samples.empty())
        return 0;
    double sum = 0;
    for (const auto sample : samples)
        sum += static_cast<double>(sample) * sample;
    return static_cast<float>(std::sqrt(sum / static_cast<double>(samples.size())) / 32'768.0);
}

}  // namespace quillet
