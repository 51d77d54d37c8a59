#include "platform/linux/AtspiFocusMemory.h"

#include <atspi/atspi.h>

namespace quillet {

namespace {

constexpr auto eventOfInterest = "object:state-changed:focused";

/// Applications come and go; most of those of long ago are gone.
constexpr std::size_t mostApplications = 32;
/// Deeper than any page of the web.
constexpr int mostAncestors = 500;

bool hasNow(AtspiAccessible* node, std::initializer_list<AtspiStateType> wanted) {
    atspi_accessible_clear_cache(node);
    const GRef<AtspiStateSet> states(atspi_accessible_get_state_set(node));
    return states && std::ranges::all_of(wanted, [&](AtspiStateType state) {
               return atspi_state_set_contains(states.get(), state);
           });
}

bool isInActiveWindow(AtspiAccessible* node) {
    auto at = sharedRef(node);
    for (int i = 0; at && i < mostAncestors; ++i) {
        if (hasNow(at.get(), {ATSPI_STATE_ACTIVE}))
            return true;
        GErrorPtr error;
        at.reset(atspi_accessible_get_parent(at.get(), ErrorOut(error)));
        if (error)
            return false;
    }
    return false;
}

}  // namespace

AtspiFocusMemory::AtspiFocusMemory()
    : listener_(atspi_event_listener_new(focusMoved, this, nullptr)) {
    atspi_event_listener_register(listener_.get(), eventOfInterest, nullptr);
}

AtspiFocusMemory::~AtspiFocusMemory() {
    atspi_event_listener_deregister(listener_.get(), eventOfInterest, nullptr);
}

void AtspiFocusMemory::focusMoved(AtspiEvent* event, void* self) {
    if (event->source && event->detail1 != 0) {
        // The bus answers this.
        const auto pid = atspi_accessible_get_process_id(event->source, nullptr);
        static_cast<AtspiFocusMemory*>(self)->remember(static_cast<pid_t>(pid), event->source);
    }
    g_boxed_free(ATSPI_TYPE_EVENT, event);
}

void AtspiFocusMemory::remember(pid_t application, Accessible* focused) {
    if (last_.size() >= mostApplications)
        last_.clear();
    last_[application] = sharedRef(focused);
}

GRef<AtspiFocusMemory::Accessible> AtspiFocusMemory::confirmed(pid_t application) {
    const auto known = last_.find(application);
    if (known == last_.end())
        return {};
    auto* node = known->second.get();
    if (hasNow(node, {ATSPI_STATE_FOCUSED, ATSPI_STATE_SHOWING}) && isInActiveWindow(node))
        return sharedRef(node);
    last_.erase(known);
    return {};
}

}  // namespace quillet
