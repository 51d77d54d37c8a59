#pragma once

// NOLINTNEXTLINE(bugprone-reserved-identifier)
struct _XDisplay;

namespace quillet {

/// Xlib has one error handler for the whole process, and by default it ends the process. Here is
/// the one place that replaces it: errors of registered displays are left without effect, those of
/// all others go to whoever handled them before. Thread-safe.
class XErrors {
public:
    static void add(_XDisplay* display);
    static void remove(_XDisplay* display);
};

}  // namespace quillet
