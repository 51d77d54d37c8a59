#pragma once

#include <pulse/stream.h>

#include <asio/awaitable.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/linux/PulseConnection.h"

namespace quillet {

class Scheduler;

/// A stream that records one source of the sound server, and none but that: it ends where the
/// server would move it elsewhere. 16 kHz mono samples.
///
/// Everything, its end too, with the connection's lock held. The listener is called on the sound
/// thread, unless the stream fails at once, and not after `close`.
class PulseRecordStream : public std::enable_shared_from_this<PulseRecordStream> {
public:
    enum class Source {
        microphone,   ///< records nothing where the source is what loudspeakers play
        loudspeakers  ///< records nothing where it is not
    };
    enum class Ending { noDevice, noPermission, deviceLost, serverLost };

    struct Request {
        const char* title;                ///< shown to the user by other programs
        std::optional<std::string> name;  ///< of the source; none: the default one
        Source source = Source::microphone;
        std::uint32_t fragmentMs = 10;  ///< what the server gathers before it hands it over
    };

    class Listener {
    public:
        virtual ~Listener() = default;
        /// The source is the right one; from now on it is heard.
        virtual void streamOpened() {}
        virtual void samplesArrived(std::span<const std::int16_t> samples) noexcept = 0;
        /// The stream failed to open, or ended by itself. It is closed.
        virtual void streamEnded(Ending why) = 0;
    };

    /// The listener outlives the stream, or closes it.
    [[nodiscard]] static std::shared_ptr<PulseRecordStream> make(Listener& listener);
    explicit PulseRecordStream(Listener& listener) : listener_(listener) {}
    ~PulseRecordStream() { close(); }
    PulseRecordStream(const PulseRecordStream&) = delete;
    PulseRecordStream& operator=(const PulseRecordStream&) = delete;

    /// Once.
    void open(pa_context* context, const Request& request);
    /// Calls `done` once everything that is heard until now has arrived at the listener, or the
    /// stream is closed.
    void drain(std::function<void()> done);
    void close();

private:
    void stateChanged();
    [[nodiscard]] Ending failure() const;
    void checkSource();
    void sourceKnown(std::optional<Source> source);
    void read();
    void deliver(const void* data, std::size_t bytes);
    void timingKnown(bool known);
    void finishDrain();
    void end(Ending why);

    Listener& listener_;
    Source wanted_ = Source::microphone;
    pa_stream* stream_ = nullptr;  // none before it is opened and after it was closed
    bool verified_ = false;
    std::optional<std::uint64_t> remaining_;  // samples that belong to the recording still
    std::function<void()> drained_;
};

/// Has something drained, and waits for that, 120 ms at most. `drain` is called with the lock held
/// and calls `done`, on the sound thread or at once.
[[nodiscard]] asio::awaitable<void> untilDrained(
    PulseConnection& connection, Scheduler& scheduler,
    std::function<void(std::function<void()> done)> drain);

}  // namespace quillet
