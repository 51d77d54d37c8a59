#include "platform/linux/PulseAudioInput.h"

#include <pulse/introspect.h>

#include <map>
#include <utility>

#include "platform/linux/PulseQuery.h"
#include "platform/linux/PulseRecordStream.h"

namespace quillet {

namespace {

AudioInputSink::Ending asEnding(PulseRecordStream::Ending why) {
    switch (why) {
        case PulseRecordStream::Ending::noDevice:
            return AudioInputSink::Ending::noDevice;
        case PulseRecordStream::Ending::noPermission:
            return AudioInputSink::Ending::noPermission;
        case PulseRecordStream::Ending::deviceLost:
            return AudioInputSink::Ending::deviceLost;
        case PulseRecordStream::Ending::serverLost:
            return AudioInputSink::Ending::serverLost;
    }
    std::unreachable();
}

std::string applicationName(const pa_source_output_info& info) {
    const char* name = pa_proplist_gets(info.proplist, PA_PROP_APPLICATION_NAME);
    return name == nullptr ? info.name : name;
}

}  // namespace

class PulseAudioInput::PulseCapture final : public Capture {
public:
    PulseCapture(PulseAudioInput& owner, AudioInputSink& sink)
        : owner_(owner), recording_(std::make_shared<Recording>(sink)) {
        const auto held = owner_.connection_.lock();
        owner_.connection_.whenReady(
            [recording = recording_](pa_context* context) { recording->begin(context); });
    }

    ~PulseCapture() override {
        const auto held = owner_.connection_.lock();
        recording_->close();
    }

    asio::awaitable<void> stop() override {
        auto drain = [recording = recording_](std::function<void()> done) {
            recording->stream->drain(std::move(done));
        };
        co_await untilDrained(owner_.connection_, owner_.scheduler_, std::move(drain));
        const auto held = owner_.connection_.lock();
        recording_->close();
    }

private:
    /// Guarded by the connection's lock.
    struct Recording final : PulseRecordStream::Listener {
        explicit Recording(AudioInputSink& target) : sink(target) {}

        void begin(pa_context* context) {
            if (!open)
                return;
            if (context == nullptr)
                streamEnded(PulseRecordStream::Ending::serverLost);
            else
                stream->open(context, {.title = "Dictation"});
        }
        void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
            sink.samplesArrived(samples);
        }
        void streamEnded(PulseRecordStream::Ending why) override {
            open = false;
            sink.captureEnded(asEnding(why));
        }
        void close() {
            open = false;
            stream->close();
        }

        AudioInputSink& sink;
        const std::shared_ptr<PulseRecordStream> stream = PulseRecordStream::make(*this);
        bool open = true;
    };

    PulseAudioInput& owner_;
    const std::shared_ptr<Recording> recording_;
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
