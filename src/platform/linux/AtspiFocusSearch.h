#pragma once

#include <sys/types.h>

#include <chrono>

#include "platform/FocusedField.h"
#include "platform/linux/GlibPointers.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier)
struct _AtspiAccessible;

namespace quillet {

/// Looks for what has the keyboard focus in an application's active window. On the accessibility
/// worker's thread only.
class AtspiFocusSearch {
public:
    using Accessible = _AtspiAccessible;
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit AtspiFocusSearch(TimePoint deadline) : deadline_(deadline) {}

    /// The focused text, or else the outermost of all that is focused; none when nothing was found
    /// by the deadline, or the application does not answer.
    [[nodiscard]] GRef<Accessible> run(pid_t application);

    /// The application's active window, after `run`; none when it has none.
    [[nodiscard]] Accessible* window() const { return window_.get(); }

    /// What kind of field this is.
    [[nodiscard]] static FocusedField::Security security(Accessible* field);

private:
    [[nodiscard]] GRef<Accessible> inApplication(Accessible* application);
    [[nodiscard]] GRef<Accessible> textBelow(Accessible* node, int depth);
    [[nodiscard]] bool isOver() const {
        return failed_ || std::chrono::steady_clock::now() >= deadline_;
    }
    template <class Visit>
    void eachChild(Accessible* parent, Visit visit);

    TimePoint deadline_;
    bool failed_ = false;
    GRef<Accessible> window_;
    GRef<Accessible> outermost_;
    int outermostDepth_ = 0;
};

}  // namespace quillet
