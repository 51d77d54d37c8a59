#include "platform/linux/PulseAudioInput.h"

#include <pulse/introspect.h>
#include <pulse/stream.h>

#include <asio/experimental/awaitable_operators.hpp>
#include <map>
#include <set>

#include "base/async/Event.h"
#include "base/async/Loop.h"
#include "platform/linux/PulseQuery.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;

constexpr pa_sample_spec format = {PA_SAMPLE_S16LE, audioSampleRate, 1};
/// 10 ms: what the server gathers before it hands it over.
constexpr std::uint32_t fragmentBytes = 320;
constexpr std::chrono::milliseconds longestDrain{120};
constexpr std::uint64_t samplesPerMs = 16;
constexpr std::uint64_t usecPerMs = 1'000;

std::string applicationName(const pa_source_output_info& info) {
    const char* name = pa_proplist_gets(info.proplist, PA_PROP_APPLICATION_NAME);
    return name == nullptr ? info.name : name;
}

}  // namespace

class PulseAudioInput::PulseCapture final : public Capture {
public:
    PulseCapture(PulseAudioInput& owner, AudioInputSink& sink)
        : owner_(owner), state_(std::make_shared<State>(owner.connection_, sink)) {
        const auto held = owner_.connection_.lock();
        owner_.connection_.whenReady([state = state_](pa_context* context) {
            if (state->open)
                state->connect(context, state);
        });
    }

    ~PulseCapture() override {
        const auto held = owner_.connection_.lock();
        state_->close();
    }

    asio::awaitable<void> stop() override {
        const auto drained = std::make_shared<Event>();
        {
            const auto held = owner_.connection_.lock();
            state_->drain(state_, [loop = &owner_.connection_.loop(), drained] {
                loop->enqueue([drained] { drained->set(); });
            });
        }
        co_await (drained->wait() || owner_.scheduler_.sleep(longestDrain));
        const auto held = owner_.connection_.lock();
        state_->close();
    }

private:
    /// Lives on the sound thread; everything is guarded by its lock.
    struct State {
        State(PulseConnection& pulse, AudioInputSink& target) : connection(pulse), sink(target) {}

        void connect(pa_context* context, std::shared_ptr<State> self) {
            if (context == nullptr) {
                end(AudioInputSink::Ending::serverLost);
                return;
            }
            stream = pa_stream_new(context, "Dictation", &format, nullptr);
            if (stream == nullptr) {
                end(AudioInputSink::Ending::serverLost);
                return;
            }
            keepAlive = std::move(self);
            pa_stream_set_state_callback(stream, &streamStateChanged, this);
            pa_stream_set_read_callback(stream, &readable, this);
            pa_buffer_attr buffer;
            buffer.maxlength = buffer.tlength = buffer.prebuf = buffer.minreq =
                static_cast<std::uint32_t>(-1);
            buffer.fragsize = fragmentBytes;
            // Moved, a stream whose microphone was unplugged would record the loudspeakers.
            constexpr auto flags =
                static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
            if (pa_stream_connect_record(stream, nullptr, &buffer, flags) < 0)
                end(AudioInputSink::Ending::noDevice);
        }

        void changed() {
            switch (pa_stream_get_state(stream)) {
                case PA_STREAM_READY:
                    checkDevice();
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

        [[nodiscard]] AudioInputSink::Ending failure() const {
            pa_context* context = pa_stream_get_context(stream);
            const auto contextState = pa_context_get_state(context);
            if (!PA_CONTEXT_IS_GOOD(contextState))
                return AudioInputSink::Ending::serverLost;
            if (pa_context_errno(context) == PA_ERR_ACCESS)
                return AudioInputSink::Ending::noPermission;
            return verified ? AudioInputSink::Ending::deviceLost : AudioInputSink::Ending::noDevice;
        }

        /// Without a microphone the default source is what the loudspeakers play. Nothing is read
        /// before it is known to be none of that.
        void checkDevice() {
            pa_operation* operation = pa_context_get_source_info_by_index(
                pa_stream_get_context(stream), pa_stream_get_device_index(stream), &deviceKnown,
                new std::weak_ptr<State>(keepAlive));
            if (operation != nullptr)
                pa_operation_unref(operation);
        }

        static void deviceKnown(pa_context*, const pa_source_info* info, int last, void* data) {
            auto* weak = static_cast<std::weak_ptr<State>*>(data);
            const auto self = weak->lock();
            if (self && self->open && info != nullptr && !self->verified) {
                if (info->monitor_of_sink != PA_INVALID_INDEX) {
                    self->end(AudioInputSink::Ending::noDevice);
                } else {
                    self->verified = true;
                    self->read();
                }
            }
            if (last != 0)
                delete weak;
        }

        void read() {
            if (!verified || !open)
                return;
            while (open && pa_stream_readable_size(stream) > 0) {
                const void* data = nullptr;
                std::size_t bytes = 0;
                if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
                    return;
                const auto count = bytes / sizeof(std::int16_t);
                if (data != nullptr) {
                    sink.samplesArrived({static_cast<const std::int16_t*>(data), count});
                } else {
                    // A hole in the recording keeps its length.
                    const std::vector<std::int16_t> silence(count);
                    sink.samplesArrived(silence);
                }
                pa_stream_drop(stream);
                if (remaining)
                    *remaining -= std::min<std::uint64_t>(*remaining, count);
            }
            finishDrain();
        }

        void drain(const std::shared_ptr<State>& self, std::function<void()> done) {
            drained = std::move(done);
            if (!open || stream == nullptr || !verified) {
                remaining = 0;
                finishDrain();
                return;
            }
            pa_operation* operation = pa_stream_update_timing_info(
                stream, &timingKnown, new std::shared_ptr<State>(self));
            if (operation != nullptr)
                pa_operation_unref(operation);
        }

        static void timingKnown(pa_stream* timed, int success, void* data) {
            const std::unique_ptr<std::shared_ptr<State>> held(
                static_cast<std::shared_ptr<State>*>(data));
            State& self = **held;
            if (!self.open)
                return;
            pa_usec_t latency = 0;
            int negative = 0;
            const bool known =
                success != 0 && pa_stream_get_latency(timed, &latency, &negative) == 0;
            self.remaining = known && negative == 0 ? latency * samplesPerMs / usecPerMs : 0;
            self.read();
        }

        void finishDrain() {
            if (remaining == 0 && drained)
                std::exchange(drained, nullptr)();
        }

        void end(AudioInputSink::Ending why) {
            if (!open)
                return;
            close();
            sink.captureEnded(why);
        }

        void close() {
            open = false;
            remaining = 0;
            finishDrain();
            if (stream == nullptr)
                return;
            pa_stream_set_state_callback(stream, nullptr, nullptr);
            pa_stream_set_read_callback(stream, nullptr, nullptr);
            pa_stream_disconnect(stream);
            pa_stream_unref(stream);
            stream = nullptr;
            const auto last = std::exchange(keepAlive, nullptr);
        }

        static void streamStateChanged(pa_stream*, void* self) {
            // The callee may let go of the state.
            const auto held = static_cast<State*>(self)->keepAlive;
            held->changed();
        }
        static void readable(pa_stream*, std::size_t, void* self) {
            const auto held = static_cast<State*>(self)->keepAlive;
            held->read();
        }

        PulseConnection& connection;
        AudioInputSink& sink;
        pa_stream* stream = nullptr;
        std::shared_ptr<State> keepAlive;  // while the stream may call back
        bool open = true;
        bool verified = false;
        std::optional<std::uint64_t> remaining;  // samples that belong to the recording still
        std::function<void()> drained;
    };

    PulseAudioInput& owner_;
    std::shared_ptr<State> state_;
};

PulseAudioInput::PulseAudioInput(PulseConnection& connection, Scheduler& scheduler, Log log)
    : connection_(connection), scheduler_(scheduler), log_(std::move(log)) {}

std::unique_ptr<AudioInput::Capture> PulseAudioInput::start(AudioInputSink& sink) {
    return std::make_unique<PulseCapture>(*this, sink);
}

namespace {

struct SourceList {
    std::map<std::uint32_t, std::string> microphones;  // by index
};

asio::awaitable<SourceList> listMicrophones(PulseConnection& connection) {
    struct Asking {
        SourceList list;
        std::function<void(SourceList)> done;
    };
    auto ask = [](pa_context* context, std::function<void(SourceList)> done) {
        return pa_context_get_source_info_list(
            context,
            [](pa_context*, const pa_source_info* info, int last, void* data) {
                auto* asking = static_cast<Asking*>(data);
                if (info != nullptr && info->monitor_of_sink == PA_INVALID_INDEX)
                    asking->list.microphones[info->index] = info->description;
                if (last == 0)
                    return;
                asking->done(std::move(asking->list));
                delete asking;
            },
            new Asking{{}, std::move(done)});
    };
    co_return co_await askPulse<SourceList>(connection, {}, std::move(ask));
}

}  // namespace

asio::awaitable<std::vector<std::string>> PulseAudioInput::devices() {
    const auto list = co_await listMicrophones(connection_);
    std::vector<std::string> names;
    names.reserve(list.microphones.size());
    for (const auto& [index, name] : list.microphones)
        names.push_back(name);
    co_return names;
}

asio::awaitable<std::vector<std::string>> PulseAudioInput::otherUsers() {
    const auto list = co_await listMicrophones(connection_);
    struct Asking {
        std::map<std::uint32_t, std::string> microphones;
        std::uint32_t ownClient = 0;
        std::vector<std::string> users;
        std::function<void(std::vector<std::string>)> done;
    };
    auto ask = [&list](pa_context* context, std::function<void(std::vector<std::string>)> done) {
        return pa_context_get_source_output_info_list(
            context,
            [](pa_context*, const pa_source_output_info* info, int last, void* data) {
                auto* asking = static_cast<Asking*>(data);
                const bool other = info != nullptr && info->client != asking->ownClient &&
                                   info->client != PA_INVALID_INDEX && info->corked == 0 &&
                                   asking->microphones.contains(info->source);
                if (other)
                    asking->users.push_back(applicationName(*info));
                if (last == 0)
                    return;
                asking->done(std::move(asking->users));
                delete asking;
            },
            new Asking{list.microphones, pa_context_get_index(context), {}, std::move(done)});
    };
    co_return co_await askPulse<std::vector<std::string>>(connection_, {}, std::move(ask));
}

}  // namespace quillet
