#include "platform/linux/PulseConnection.h"

#include <pulse/error.h>
#include <pulse/proplist.h>

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
    pa_context_set_state_callback(context_, &contextStateChanged, this);
    // A sound server is the session's to start, not ours.
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        stateChanged();
}

void PulseConnection::contextStateChanged(pa_context*, void* self) {
    static_cast<PulseConnection*>(self)->stateChanged();
}

void PulseConnection::stateChanged() {
    const auto state = pa_context_get_state(context_);
    if (PA_CONTEXT_IS_GOOD(state) && state != PA_CONTEXT_READY)
        return;
    pa_context* usable = state == PA_CONTEXT_READY ? context_ : nullptr;
    if (usable == nullptr)
        log_.info("Sound server: {}", pa_strerror(pa_context_errno(context_)));
    const auto waiting = std::exchange(waiting_, {});
    for (const auto& ready : waiting)
        ready(usable);
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

}  // namespace quillet
