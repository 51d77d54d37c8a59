#include "audio/AudioFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libswresample/swresample.h>
}

#include <fmt/format.h>

#include <limits>
#include <memory>

#include "platform/AudioInput.h"

namespace quillet {

namespace {

template <auto Free>
struct FreeBy {
    template <class T>
    void operator()(T* pointer) const {
        Free(&pointer);
    }
};
using Container = std::unique_ptr<AVFormatContext, FreeBy<avformat_close_input>>;
using Decoder = std::unique_ptr<AVCodecContext, FreeBy<avcodec_free_context>>;
using Resampler = std::unique_ptr<SwrContext, FreeBy<swr_free>>;
using Packet = std::unique_ptr<AVPacket, FreeBy<av_packet_free>>;
using Frame = std::unique_ptr<AVFrame, FreeBy<av_frame_free>>;

using Samples = std::vector<std::int16_t>;

/// Converts frames to our format and gathers them.
class Gathering {
public:
    bool add(const AVFrame& frame) {
        if (!resampler_ && !open(frame))
            return false;
        return convert(const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    }
    /// What the resampler still holds.
    bool finish() { return !resampler_ || convert(nullptr, 0); }
    [[nodiscard]] std::size_t size() const { return samples_.size(); }
    Samples take() { return std::move(samples_); }

private:
    bool open(const AVFrame& frame) {
        AVChannelLayout mono{};
        av_channel_layout_default(&mono, 1);
        AVChannelLayout given{};
        if (av_channel_layout_copy(&given, &frame.ch_layout) < 0)
            return false;
        SwrContext* made = nullptr;
        const int status = swr_alloc_set_opts2(&made, &mono, AV_SAMPLE_FMT_S16, audioSampleRate,
                                               &given, static_cast<AVSampleFormat>(frame.format),
                                               frame.sample_rate, 0, nullptr);
        av_channel_layout_uninit(&given);
        resampler_.reset(made);
        return status >= 0 && swr_init(resampler_.get()) >= 0;
    }

    bool convert(const std::uint8_t** data, int count) {
        const int room = swr_get_out_samples(resampler_.get(), count);
        if (room < 0)
            return false;
        const auto before = samples_.size();
        samples_.resize(before + static_cast<std::size_t>(room));
        auto* out = reinterpret_cast<std::uint8_t*>(samples_.data() + before);
        const int got = swr_convert(resampler_.get(), &out, room, data, count);
        samples_.resize(before + static_cast<std::size_t>(std::max(got, 0)));
        return got >= 0;
    }

    Resampler resampler_;
    Samples samples_;
};

bool drain(AVCodecContext& decoder, AVFrame& frame, Gathering& gathering) {
    while (avcodec_receive_frame(&decoder, &frame) >= 0) {
        if (!gathering.add(frame))
            return false;
    }
    return true;
}

/// What may be decoded.
struct Bounds {
    const char* containers = nullptr;  ///< a list of libavformat's names; null: any
    std::size_t mostSamples = std::numeric_limits<std::size_t>::max();
};

std::expected<Container, std::string> open(const char* url, const Bounds& bounds) {
    AVDictionary* options = nullptr;
    if (bounds.containers != nullptr) {
        av_dict_set(&options, "format_whitelist", bounds.containers, 0);
        av_dict_set(&options, "protocol_whitelist", "file", 0);
    }
    AVFormatContext* opened = nullptr;
    const int status = avformat_open_input(&opened, url, nullptr, &options);
    av_dict_free(&options);
    Container container(opened);
    if (status < 0 || avformat_find_stream_info(opened, nullptr) < 0)
        return std::unexpected("This is not an audio file that can be read.");
    return container;
}

std::expected<Samples, std::string> decode(const char* url, const Bounds& bounds) {
    av_log_set_level(AV_LOG_QUIET);
    auto opened = open(url, bounds);
    if (!opened)
        return std::unexpected(std::move(opened.error()));
    auto* const container = opened->get();
    const AVCodec* codec = nullptr;
    const int stream = av_find_best_stream(container, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (stream < 0 || codec == nullptr)
        return std::unexpected("There is no sound in this file.");

    const Decoder decoder(avcodec_alloc_context3(codec));
    const auto* parameters = container->streams[stream]->codecpar;
    if (avcodec_parameters_to_context(decoder.get(), parameters) < 0 ||
        avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return std::unexpected("Its encoding is not supported.");
    const Packet packet(av_packet_alloc());
    const Frame frame(av_frame_alloc());
    Gathering gathering;
    bool good = true;
    while (good && av_read_frame(container, packet.get()) >= 0) {
        // A damaged packet is skipped; the rest is worth having.
        if (packet->stream_index == stream && avcodec_send_packet(decoder.get(), packet.get()) >= 0)
            good = drain(*decoder, *frame, gathering);
        av_packet_unref(packet.get());
        if (gathering.size() > bounds.mostSamples)
            return std::unexpected("It is too long to be transcribed.");
    }
    good = good && avcodec_send_packet(decoder.get(), nullptr) >= 0 &&
           drain(*decoder, *frame, gathering) && gathering.finish();
    if (!good)
        return std::unexpected("Its sound cannot be decoded.");
    return gathering.take();
}

}  // namespace

std::expected<Samples, std::string> readAudioFile(const std::filesystem::path& file) {
    const auto failed = [&file](std::string_view why) {
        return std::unexpected(fmt::format("{}: {}", file.string(), why));
    };
    std::error_code ec;
    if (!std::filesystem::exists(file, ec))
        return failed("There is no such file.");
    if (!std::filesystem::is_regular_file(file, ec))
        return failed("This is not a file.");
    auto samples = decode(file.c_str(), {});
    if (!samples)
        return failed(samples.error());
    return samples;
}

std::expected<Samples, std::string> readAudioFile(const FileDescriptor& file,
                                                  std::chrono::seconds longest) {
    constexpr const char* audioContainers = "mov,mp3,wav,flac,ogg,matroska,aac";
    const auto mostSamples = static_cast<std::size_t>(longest.count()) * audioSampleRate;
    return decode(fmt::format("/proc/self/fd/{}", file.get()).c_str(),
                  {audioContainers, mostSamples});
}

}  // namespace quillet
