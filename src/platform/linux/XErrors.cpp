#include "platform/linux/XErrors.h"

#include <X11/Xlib.h>

#include <mutex>
#include <set>

namespace quillet {

namespace {

struct Registry {
    std::mutex mutex;
    std::set<Display*> displays;               // guarded by mutex
    XErrorHandler others = nullptr;            // guarded by mutex
    XIOErrorHandler othersWhenLost = nullptr;  // guarded by mutex
};

Registry& registry() {
    // Never destroyed: other threads may meet an error while the process ends.
    static auto& one = *new Registry;
    return one;
}

int onError(Display* display, XErrorEvent* error) {
    XErrorHandler others = nullptr;
    {
        const std::scoped_lock lock(registry().mutex);
        if (registry().displays.contains(display))
            return 0;
        others = registry().others;
    }
    return others ? others(display, error) : 0;
}

int onLost(Display* display) {
    XIOErrorHandler others = nullptr;
    {
        const std::scoped_lock lock(registry().mutex);
        if (registry().displays.contains(display))
            return 0;
        others = registry().othersWhenLost;
    }
    return others ? others(display) : 0;
}

}  // namespace

void XErrors::add(Display* display) {
    const std::scoped_lock lock(registry().mutex);
    registry().displays.insert(display);
    // Asked anew each time, for a toolkit may have put its own handlers in our place.
    if (const auto previous = XSetErrorHandler(onError); previous != onError)
        registry().others = previous;
    if (const auto previous = XSetIOErrorHandler(onLost); previous != onLost)
        registry().othersWhenLost = previous;
}

void XErrors::remove(Display* display) {
    const std::scoped_lock lock(registry().mutex);
    registry().displays.erase(display);
}

}  // namespace quillet
