#include "platform/linux/PulsePlayStream.h"

#include <algorithm>
#include <utility>

#include "platform/linux/PulseOperation.h"

namespace quillet {

namespace {

/// So much is with the server, which a pause or a busy machine may cost.
constexpr std::uint32_t bufferedMs = 200;
constexpr std::uint32_t msPerSecond = 1'000;
constexpr auto unset = static_cast<std::uint32_t>(-1);

std::size_t sampleAt(const AudioPlayer::Sound& sound, std::chrono::milliseconds from) {
    const auto ms = static_cast<std::size_t>(std::max<std::int64_t>(from.count(), 0));
    const auto frame = ms * static_cast<std::size_t>(sound.sampleRate) / msPerSecond;
    return std::min(frame * static_cast<std::size_t>(sound.channels), sound.samples.size());
}

void release(pa_operation* operation) {
    if (operation != nullptr)
        pa_operation_unref(operation);
}

}  // namespace

PulsePlayStream::PulsePlayStream(AudioPlayer::Sound sound, std::chrono::milliseconds from,
                                 Ended ended)
    : sound_(std::move(sound)),
      from_(std::clamp(from, std::chrono::milliseconds(0), sound_.length())),
      next_(sampleAt(sound_, from_)),
      ended_(std::move(ended)) {}

void PulsePlayStream::open(pa_context* context) {
    if (isOver_)
        return;
    if (context == nullptr) {
        end(AudioPlayer::Error::noServer);
        return;
    }
    const pa_sample_spec format = {PA_SAMPLE_S16LE, static_cast<std::uint32_t>(sound_.sampleRate),
                                   static_cast<std::uint8_t>(sound_.channels)};
    stream_ = pa_stream_new(context, "Recording", &format, nullptr);
    if (stream_ == nullptr) {
        end(AudioPlayer::Error::noServer);
        return;
    }
    // The callee may let go of the stream.
    pa_stream_set_state_callback(
        stream_,
        [](pa_stream*, void* self) {
            static_cast<PulsePlayStream*>(self)->shared_from_this()->stateChanged();
        },
        this);
    pa_stream_set_write_callback(
        stream_,
        [](pa_stream*, std::size_t bytes, void* self) {
            static_cast<PulsePlayStream*>(self)->shared_from_this()->write(bytes);
        },
        this);
    pa_buffer_attr buffer;
    buffer.maxlength = buffer.prebuf = buffer.minreq = buffer.fragsize = unset;
    buffer.tlength = static_cast<std::uint32_t>(pa_frame_size(&format)) *
                     static_cast<std::uint32_t>(sound_.sampleRate) / msPerSecond * bufferedMs;
    auto flags =
        PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING | PA_STREAM_AUTO_TIMING_UPDATE;
    if (isPaused_)
        flags |= PA_STREAM_START_CORKED;
    if (pa_stream_connect_playback(stream_, nullptr, &buffer, static_cast<pa_stream_flags_t>(flags),
                                   nullptr, nullptr) < 0)
        end(AudioPlayer::Error::noDevice);
}

void PulsePlayStream::stateChanged() {
    switch (pa_stream_get_state(stream_)) {
        case PA_STREAM_READY:
            isReady_ = true;
            setPaused(isPaused_);
            return;
        case PA_STREAM_FAILED:
        case PA_STREAM_TERMINATED:
            end(failure());
            return;
        case PA_STREAM_UNCONNECTED:
        case PA_STREAM_CREATING:
            return;
    }
}

AudioPlayer::Error PulsePlayStream::failure() const {
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(pa_stream_get_context(stream_))))
        return AudioPlayer::Error::serverLost;
    return AudioPlayer::Error::noDevice;
}

void PulsePlayStream::write(std::size_t bytes) {
    if (stream_ == nullptr)
        return;
    const auto count = std::min(bytes / sizeof(std::int16_t), sound_.samples.size() - next_);
    if (count > 0) {
        pa_stream_write(stream_, sound_.samples.data() + next_, count * sizeof(std::int16_t),
                        nullptr, 0, PA_SEEK_RELATIVE);
        next_ += count;
    }
    if (next_ == sound_.samples.size())
        drain();
}

/// All of it is with the server: when that has played it, the sound is over.
void PulsePlayStream::drain() {
    pa_stream_set_write_callback(stream_, nullptr, nullptr);
    const auto played = std::make_shared<bool>(false);
    pa_operation* operation = pa_stream_drain(
        stream_,
        [](pa_stream*, int success, void* result) { *static_cast<bool*>(result) = success != 0; },
        played.get());
    whenEnded(operation, [weak = weak_from_this(), played] {
        const auto self = weak.lock();
        if (self && *played)
            self->end(std::nullopt);
    });
}

void PulsePlayStream::setPaused(bool paused) {
    isPaused_ = paused;
    if (stream_ != nullptr && isReady_)
        release(pa_stream_cork(stream_, paused ? 1 : 0, nullptr, nullptr));
}

std::optional<std::chrono::milliseconds> PulsePlayStream::position() const {
    pa_usec_t heard = 0;
    if (stream_ == nullptr || !isReady_ || isPaused_ || pa_stream_get_time(stream_, &heard) < 0)
        return std::nullopt;
    const auto at = from_ + std::chrono::duration_cast<std::chrono::milliseconds>(
                                std::chrono::microseconds(heard));
    return std::min(at, sound_.length());
}

void PulsePlayStream::end(std::optional<AudioPlayer::Error> error) {
    if (isOver_)
        return;
    const auto ended = std::exchange(ended_, nullptr);
    close();
    ended(error);
}

void PulsePlayStream::close() {
    isOver_ = true;
    if (stream_ == nullptr)
        return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_write_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

}  // namespace quillet
