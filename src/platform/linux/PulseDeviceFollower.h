#pragma once

#include <chrono>

#include "platform/CallAudio.h"
#include "platform/linux/PulseRecordStream.h"

namespace quillet {

/// Records whatever device is the default one for a side of a call, for as long as it is open. That
/// there is none, or no server, is told and waited for.
///
/// Everything with the connection's lock held. The sink is called on the sound thread, and not
/// after `close`.
class PulseDeviceFollower final : public PulseRecordStream::Listener,
                                  public std::enable_shared_from_this<PulseDeviceFollower> {
public:
    /// Asks, on the sound thread, for a call of `tryAgain` after some time.
    using AskForRetry = std::function<void(std::chrono::milliseconds after)>;

    PulseDeviceFollower(PulseConnection& connection, CallAudio::Side side, CallAudioSink& sink,
                        AskForRetry askForRetry);

    /// Once.
    void open();
    void tryAgain();
    /// Says that there is no server, should nothing be known yet.
    void giveUpWaiting();
    /// Calls `done` once everything that is heard until now has arrived at the sink.
    void drain(std::function<void()> done);
    void close();

    void streamOpened() override;
    void samplesArrived(std::span<const std::int16_t> samples) noexcept override;
    void streamEnded(PulseRecordStream::Ending why) override;

private:
    /// What is recorded of a device.
    struct Source {
        std::uint32_t index;
        std::string name;
        bool muted;
    };

    void lookAgain();
    void ask(pa_context* context);
    void answered(const std::optional<Source>& source);
    void follow(const Source& source);
    void lose(CallAudioSink::State state);
    void askForRetry();
    void tell(CallAudioSink::State state);

    PulseConnection& connection_;
    const CallAudio::Side side_;
    CallAudioSink& sink_;
    AskForRetry onRetry_;
    std::optional<PulseConnection::WatchId> watch_;  // while open
    std::optional<CallAudioSink::State> told_;
    std::shared_ptr<PulseRecordStream> stream_;  // none where nothing can be recorded
    std::uint32_t source_ = PA_INVALID_INDEX;    // of the stream
    bool opened_ = false;                        // whether the stream is heard
    bool muted_ = false;
    bool asking_ = false;
    bool askAgain_ = false;  // something changed while it was asked for
    bool retryAsked_ = false;
    std::chrono::milliseconds pause_;
};

}  // namespace quillet
