#include "platform/linux/PulseConnection.h"

#include <pulse/error.h>
#include <pulse/proplist.h>
#include <pulse/subscribe.h>

#include <memory>

#include "base/async/Loop.h"

namespace quillet {

PulseConnection::PulseConnection(Loop& loop, Log log)
    : loop_(loop), log_(std::move(log)), mainloop_(pa_threaded_mainloop_new()) {
    pa_threaded_mainloop_set_name(mainloop_, "sound");
    pa_threaded_mainloop_start(mainloop_);
    const auto held = lock();
    connect();
}

PulseConnection::~PulseConnection() {
    {
        const auto held = lock();
        if (context_ != nullptr) {
            pa_context_set_state_callback(context_, nullptr, nullptr);
            pa_context_disconnect(context_);
            pa_context_unref(context_);
        }
    }
    pa_threaded_mainloop_stop(mainloop_);
    pa_threaded_mainloop_free(mainloop_);
}

void PulseConnection::connect() {
    if (context_ != nullptr) {
        pa_context_set_state_callback(context_, nullptr, nullptr);
        pa_context_unref(context_);
    }
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Quillet");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "com.quillet.Quillet");
    context_ = pa_context_new_with_proplist(pa_threaded_mainloop_get_api(mainloop_), "Quillet",
                                            properties);
    pa_proplist_free(properties);
    pa_context_set_state_callback(
        context_,
        [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->stateChanged(); }, this);
    pa_context_set_subscribe_callback(
        context_,
        [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
            static_cast<PulseConnection*>(self)->tellWatchers();
        },
        this);
    // A sound server is the session's to start, not ours.
    pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
}

void PulseConnection::stateChanged() {
    const auto state = pa_context_get_state(context_);
    if (PA_CONTEXT_IS_GOOD(state) && state != PA_CONTEXT_READY)
        return;
    pa_context* usable = state == PA_CONTEXT_READY ? context_ : nullptr;
    if (usable == nullptr && !std::exchange(complained_, true))
        log_.info("Sound server: {}", pa_strerror(pa_context_errno(context_)));
    if (usable != nullptr) {
        complained_ = false;
        if (!watchers_.empty())
            subscribe();
    }
    const auto waiting = std::exchange(waiting_, {});
    for (const auto& ready : waiting)
        ready(usable);
    // A connection may fail while somebody on another thread asks for it.
    post([this] { tellWatchers(); });
}

pa_context* PulseConnection::ready() const {
    return pa_context_get_state(context_) == PA_CONTEXT_READY ? context_ : nullptr;
}

void PulseConnection::whenReady(std::function<void(pa_context*)> ready) {
    const auto state = pa_context_get_state(context_);
    if (state == PA_CONTEXT_READY) {
        ready(context_);
        return;
    }
    waiting_.push_back(std::move(ready));
    if (!PA_CONTEXT_IS_GOOD(state))
        connect();
}

PulseConnection::State PulseConnection::state() const {
    const auto state = pa_context_get_state(context_);
    if (state == PA_CONTEXT_READY)
        return State::ready;
    if (PA_CONTEXT_IS_GOOD(state))
        return State::connecting;
    return pa_context_errno(context_) == PA_ERR_ACCESS ? State::refused : State::lost;
}

void PulseConnection::post(std::function<void()> work) {
    using Work = std::function<void()>;
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(mainloop_);
    pa_defer_event* event = api->defer_new(
        api,
        [](pa_mainloop_api* owner, pa_defer_event* ready, void* data) {
            (*static_cast<Work*>(data))();
            owner->defer_free(ready);
        },
        new Work(std::move(work)));
    // Also where the thread ends before it comes to the work.
    api->defer_set_destroy(event, [](pa_mainloop_api*, pa_defer_event*, void* data) {
        delete static_cast<Work*>(data);
    });
}

PulseConnection::WatchId PulseConnection::watch(std::function<void()> changed) {
    watchers_.emplace(++lastWatch_, std::move(changed));
    if (watchers_.size() == 1 && ready() != nullptr)
        subscribe();
    return lastWatch_;
}

void PulseConnection::unwatch(WatchId id) {
    if (watchers_.erase(id) > 0 && watchers_.empty() && ready() != nullptr)
        subscribe();
}

/// While nobody watches, the program is not woken at every turn of a volume knob.
void PulseConnection::subscribe() {
    constexpr auto devices = static_cast<pa_subscription_mask_t>(
        PA_SUBSCRIPTION_MASK_SERVER | PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE);
    pa_operation* operation = pa_context_subscribe(
        context_, watchers_.empty() ? PA_SUBSCRIPTION_MASK_NULL : devices, nullptr, nullptr);
    if (operation != nullptr)
        pa_operation_unref(operation);
}

void PulseConnection::tellWatchers() {
    // A watcher may end itself, or another.
    const auto watchers = watchers_;
    for (const auto& [id, changed] : watchers) {
        if (watchers_.contains(id))
            changed();
    }
}

}  // namespace quillet
