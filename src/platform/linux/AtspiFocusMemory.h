#pragma once

#include <sys/types.h>

#include <map>

#include "platform/linux/GlibPointers.h"

// NOLINTBEGIN(bugprone-reserved-identifier)
struct _AtspiAccessible;
struct _AtspiEvent;
struct _AtspiEventListener;
// NOLINTEND(bugprone-reserved-identifier)

namespace quillet {

/// What had the focus last in each application, as the applications tell it by themselves. Saves
/// the search, which takes too long in a large web page. On the accessibility worker's thread only.
class AtspiFocusMemory {
public:
    using Accessible = _AtspiAccessible;

    /// Begins to listen.
    AtspiFocusMemory();
    ~AtspiFocusMemory();
    AtspiFocusMemory(const AtspiFocusMemory&) = delete;
    AtspiFocusMemory& operator=(const AtspiFocusMemory&) = delete;

    void remember(pid_t application, Accessible* focused);
    /// What has the focus, if it is known and the application confirms that it still has it, in the
    /// active window.
    [[nodiscard]] GRef<Accessible> confirmed(pid_t application);

private:
    static void focusMoved(_AtspiEvent* event, void* self);

    GRef<_AtspiEventListener> listener_;
    std::map<pid_t, GRef<Accessible>> last_;
};

}  // namespace quillet
