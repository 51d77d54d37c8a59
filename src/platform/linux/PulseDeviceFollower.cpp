#include "platform/linux/PulseDeviceFollower.h"

#include <pulse/introspect.h>

#include <algorithm>
#include <utility>

#include "platform/linux/PulseOperation.h"

namespace quillet {

namespace {

using State = CallAudioSink::State;

constexpr std::chrono::milliseconds shortestPause = std::chrono::seconds(1);
constexpr std::chrono::milliseconds longestPause = std::chrono::seconds(30);
constexpr std::uint32_t fragmentMs = 20;

}  // namespace

PulseDeviceFollower::PulseDeviceFollower(PulseConnection& connection, CallAudio::Side side,
                                         CallAudioSink& sink, AskForRetry askForRetry)
    : connection_(connection),
      side_(side),
      sink_(sink),
      onRetry_(std::move(askForRetry)),
      pause_(shortestPause) {}

void PulseDeviceFollower::open() {
    const auto weak = weak_from_this();
    watch_ = connection_.watch([weak] {
        if (const auto self = weak.lock())
            self->lookAgain();
    });
    connection_.post([weak] {
        if (const auto self = weak.lock())
            self->tryAgain();
    });
}

void PulseDeviceFollower::tryAgain() {
    retryAsked_ = false;
    if (!watch_)
        return;
    if (connection_.state() == PulseConnection::State::ready)
        lookAgain();
    else
        connection_.whenReady([](pa_context*) {});  // the watch tells what comes of it
}

void PulseDeviceFollower::lookAgain() {
    if (!watch_)
        return;
    switch (connection_.state()) {
        case PulseConnection::State::connecting:
            return;
        case PulseConnection::State::ready:
            if (asking_)
                askAgain_ = true;
            else
                ask(connection_.ready());
            return;
        case PulseConnection::State::refused:
            lose(State::noPermission);
            askForRetry();
            return;
        case PulseConnection::State::lost:
            lose(State::noServer);
            askForRetry();
            return;
    }
}

void PulseDeviceFollower::ask(pa_context* context) {
    asking_ = true;
    askAgain_ = false;
    const auto found = std::make_shared<std::optional<Source>>();
    pa_operation* operation = nullptr;
    // A name of its own for the default sink's monitor exists as well, but there are servers that
    // open the microphone for it.
    if (side_ == CallAudio::Side::systemAudio) {
        operation = pa_context_get_sink_info_by_name(
            context, "@DEFAULT_SINK@",
            [](pa_context*, const pa_sink_info* info, int, void* data) {
                if (info != nullptr && info->monitor_source_name != nullptr)
                    *static_cast<std::optional<Source>*>(data) =
                        Source{info->monitor_source, info->monitor_source_name, info->mute != 0};
            },
            found.get());
    } else {
        operation = pa_context_get_source_info_by_name(
            context, "@DEFAULT_SOURCE@",
            [](pa_context*, const pa_source_info* info, int, void* data) {
                if (info != nullptr && info->monitor_of_sink == PA_INVALID_INDEX)
                    *static_cast<std::optional<Source>*>(data) =
                        Source{info->index, info->name, false};
            },
            found.get());
    }
    whenEnded(operation, [weak = weak_from_this(), found] {
        if (const auto self = weak.lock())
            self->answered(*found);
    });
}

void PulseDeviceFollower::answered(const std::optional<Source>& source) {
    asking_ = false;
    pa_context* context = connection_.ready();
    if (!watch_ || context == nullptr)
        return;
    if (askAgain_) {
        ask(context);
        return;
    }
    if (source)
        follow(*source);
    else
        lose(pa_context_errno(context) == PA_ERR_ACCESS ? State::noPermission : State::noDevice);
}

void PulseDeviceFollower::follow(const Source& source) {
    muted_ = source.muted;
    if (stream_ && source_ == source.index) {
        if (opened_)
            tell(muted_ ? State::muted : State::running);
        return;
    }
    if (stream_)
        stream_->close();
    opened_ = false;
    source_ = source.index;
    const auto stream = stream_ = PulseRecordStream::make(*this);
    const bool isFarSide = side_ == CallAudio::Side::systemAudio;
    stream->open(connection_.ready(),
                 {.title = isFarSide ? "Meeting: the other side" : "Meeting: microphone",
                  .name = source.name,
                  .source = isFarSide ? PulseRecordStream::Source::loudspeakers
                                      : PulseRecordStream::Source::microphone,
                  .fragmentMs = fragmentMs});
}

void PulseDeviceFollower::streamOpened() {
    opened_ = true;
    pause_ = shortestPause;
    tell(muted_ ? State::muted : State::running);
}

void PulseDeviceFollower::samplesArrived(std::span<const std::int16_t> samples) noexcept {
    sink_.samplesArrived(samples);
}

void PulseDeviceFollower::streamEnded(PulseRecordStream::Ending why) {
    switch (why) {
        case PulseRecordStream::Ending::noDevice:
            lose(State::noDevice);
            break;
        case PulseRecordStream::Ending::noPermission:
            lose(State::noPermission);
            break;
        case PulseRecordStream::Ending::deviceLost:
        case PulseRecordStream::Ending::serverLost:
            // The watch tells soon what there is in its place.
            stream_.reset();
            break;
    }
    askForRetry();
}

void PulseDeviceFollower::lose(State state) {
    if (stream_)
        stream_->close();
    stream_.reset();
    tell(state);
}

void PulseDeviceFollower::askForRetry() {
    if (std::exchange(retryAsked_, true))
        return;
    onRetry_(pause_);
    pause_ = std::min(pause_ * 2, longestPause);
}

void PulseDeviceFollower::tell(State state) {
    if (std::exchange(told_, state) != state)
        sink_.stateChanged(state);
}

void PulseDeviceFollower::giveUpWaiting() {
    if (watch_ && !told_)
        tell(State::noServer);
}

void PulseDeviceFollower::drain(std::function<void()> done) {
    if (stream_)
        stream_->drain(std::move(done));
    else
        done();
}

void PulseDeviceFollower::close() {
    if (!watch_)
        return;
    connection_.unwatch(*watch_);
    watch_.reset();
    if (stream_)
        stream_->close();
}

}  // namespace quillet
