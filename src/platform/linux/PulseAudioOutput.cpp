#include "platform/linux/PulseAudioOutput.h"

#include <pulse/introspect.h>

#include "platform/linux/PulseQuery.h"

namespace quillet {

asio::awaitable<std::expected<AudioOutput::State, AudioOutput::Error>> PulseAudioOutput::state() {
    using Done = std::function<void(std::optional<State>)>;
    auto ask = [](pa_context* context, Done done) {
        // The name stands for whatever output is the default one.
        return pa_context_get_sink_info_by_name(
            context, "@DEFAULT_SINK@",
            [](pa_context*, const pa_sink_info* info, int last, void* data) {
                auto* report = static_cast<Done*>(data);
                if (info != nullptr)
                    (*report)(State{info->name, info->mute != 0});
                if (last != 0)
                    delete report;
            },
            new Done(std::move(done)));
    };
    auto state = co_await askPulse<std::optional<State>>(connection_, std::nullopt, std::move(ask));
    if (!state)
        co_return std::unexpected(Error::unavailable);
    co_return std::move(*state);
}

asio::awaitable<std::expected<void, AudioOutput::Error>> PulseAudioOutput::setMuted(
    std::string device, bool muted) {
    using Done = std::function<void(bool)>;
    auto ask = [&device, muted](pa_context* context, Done done) {
        return pa_context_set_sink_mute_by_name(
            context, device.c_str(), muted ? 1 : 0,
            [](pa_context*, int success, void* data) {
                const std::unique_ptr<Done> report(static_cast<Done*>(data));
                (*report)(success != 0);
            },
            new Done(std::move(done)));
    };
    if (!co_await askPulse<bool>(connection_, false, std::move(ask)))
        co_return std::unexpected(Error::unavailable);
    co_return std::expected<void, Error>();
}

}  // namespace quillet
