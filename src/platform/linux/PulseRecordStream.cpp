#include "platform/linux/PulseRecordStream.h"

#include <pulse/introspect.h>

#include <algorithm>
#include <asio/experimental/awaitable_operators.hpp>
#include <chrono>
#include <utility>
#include <vector>

#include "base/async/Event.h"
#include "base/async/Loop.h"
#include "base/async/Scheduler.h"
#include "platform/AudioInput.h"
#include "platform/linux/PulseOperation.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;

constexpr pa_sample_spec format = {PA_SAMPLE_S16LE, audioSampleRate, 1};
constexpr std::uint32_t bytesPerMs = 32;
constexpr std::uint64_t samplesPerMs = 16;
constexpr std::uint64_t usecPerMs = 1'000;
constexpr std::chrono::milliseconds longestDrain{120};

}  // namespace

std::shared_ptr<PulseRecordStream> PulseRecordStream::make(Listener& listener) {
    return std::make_shared<PulseRecordStream>(listener);
}

void PulseRecordStream::open(pa_context* context, const Request& request) {
    wanted_ = request.source;
    stream_ = pa_stream_new(context, request.title, &format, nullptr);
    if (stream_ == nullptr) {
        listener_.streamEnded(Ending::serverLost);
        return;
    }
    // The callee may let go of the stream.
    pa_stream_set_state_callback(
        stream_,
        [](pa_stream*, void* self) {
            static_cast<PulseRecordStream*>(self)->shared_from_this()->stateChanged();
        },
        this);
    pa_stream_set_read_callback(
        stream_,
        [](pa_stream*, std::size_t, void* self) {
            static_cast<PulseRecordStream*>(self)->shared_from_this()->read();
        },
        this);
    pa_buffer_attr buffer;
    buffer.maxlength = buffer.tlength = buffer.prebuf = buffer.minreq =
        static_cast<std::uint32_t>(-1);
    buffer.fragsize = request.fragmentMs * bytesPerMs;
    // Moved, a stream whose microphone was unplugged would record the loudspeakers.
    constexpr auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    const char* name = request.name ? request.name->c_str() : nullptr;
    if (pa_stream_connect_record(stream_, name, &buffer, flags) < 0)
        end(Ending::noDevice);
}

void PulseRecordStream::stateChanged() {
    switch (pa_stream_get_state(stream_)) {
        case PA_STREAM_READY:
            checkSource();
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

PulseRecordStream::Ending PulseRecordStream::failure() const {
    pa_context* context = pa_stream_get_context(stream_);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)))
        return Ending::serverLost;
    if (pa_context_errno(context) == PA_ERR_ACCESS)
        return Ending::noPermission;
    return verified_ ? Ending::deviceLost : Ending::noDevice;
}

/// Without a microphone the default source is what the loudspeakers play. Nothing is read before it
/// is known to be none of that.
void PulseRecordStream::checkSource() {
    const auto source = std::make_shared<std::optional<Source>>();
    pa_operation* operation = pa_context_get_source_info_by_index(
        pa_stream_get_context(stream_), pa_stream_get_device_index(stream_),
        [](pa_context*, const pa_source_info* info, int, void* found) {
            if (info != nullptr)
                *static_cast<std::optional<Source>*>(found) =
                    info->monitor_of_sink == PA_INVALID_INDEX ? Source::microphone
                                                              : Source::loudspeakers;
        },
        source.get());
    whenEnded(operation, [weak = weak_from_this(), source] {
        if (const auto self = weak.lock())
            self->sourceKnown(*source);
    });
}

void PulseRecordStream::sourceKnown(std::optional<Source> source) {
    // What has gone again fails the stream by itself.
    if (stream_ == nullptr || verified_ || !source)
        return;
    if (source != wanted_) {
        end(Ending::noDevice);
        return;
    }
    verified_ = true;
    listener_.streamOpened();
    read();
}

void PulseRecordStream::read() {
    if (!verified_)
        return;
    while (stream_ != nullptr && pa_stream_readable_size(stream_) > 0) {
        const void* data = nullptr;
        std::size_t bytes = 0;
        if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0)
            return;
        deliver(data, bytes);
    }
    finishDrain();
}

void PulseRecordStream::deliver(const void* data, std::size_t bytes) {
    const auto count = bytes / sizeof(std::int16_t);
    if (data != nullptr) {
        listener_.samplesArrived({static_cast<const std::int16_t*>(data), count});
    } else {
        // A hole in the recording keeps its length.
        const std::vector<std::int16_t> silence(count);
        listener_.samplesArrived(silence);
    }
    if (stream_ != nullptr)
        pa_stream_drop(stream_);
    if (remaining_)
        *remaining_ -= std::min<std::uint64_t>(*remaining_, count);
}

void PulseRecordStream::drain(std::function<void()> done) {
    drained_ = std::move(done);
    if (stream_ == nullptr || !verified_) {
        remaining_ = 0;
        finishDrain();
        return;
    }
    const auto known = std::make_shared<bool>(false);
    pa_operation* operation = pa_stream_update_timing_info(
        stream_,
        [](pa_stream*, int success, void* result) { *static_cast<bool*>(result) = success != 0; },
        known.get());
    whenEnded(operation, [weak = weak_from_this(), known] {
        if (const auto self = weak.lock())
            self->timingKnown(*known);
    });
}

void PulseRecordStream::timingKnown(bool known) {
    if (stream_ == nullptr)
        return;
    pa_usec_t latency = 0;
    int negative = 0;
    known = known && pa_stream_get_latency(stream_, &latency, &negative) == 0;
    remaining_ = known && negative == 0 ? latency * samplesPerMs / usecPerMs : 0;
    read();
}

void PulseRecordStream::finishDrain() {
    if (remaining_ == 0 && drained_)
        std::exchange(drained_, nullptr)();
}

void PulseRecordStream::end(Ending why) {
    if (stream_ == nullptr)
        return;
    close();
    listener_.streamEnded(why);
}

void PulseRecordStream::close() {
    remaining_ = 0;
    finishDrain();
    if (stream_ == nullptr)
        return;
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    stream_ = nullptr;
}

asio::awaitable<void> untilDrained(PulseConnection& connection, Scheduler& scheduler,
                                   std::function<void(std::function<void()> done)> drain) {
    const auto drained = std::make_shared<Event>();
    {
        const auto held = connection.lock();
        drain(
            [loop = &connection.loop(), drained] { loop->enqueue([drained] { drained->set(); }); });
    }
    co_await (drained->wait() || scheduler.sleep(longestDrain));
}

}  // namespace quillet
