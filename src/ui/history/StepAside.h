#pragma once

#include <chrono>
#include <functional>

class QWidget;

namespace quillet {

class MessageBar;

/// How long the application behind a window has to take the keyboard.
inline constexpr std::chrono::milliseconds steppingAsideLimit{2'000};

/// Puts a window away and calls `then` once the application behind it has the keyboard, so that
/// what is typed goes there. Where none takes it in time, the window comes back and says so. Not
/// any more when the window is closed before, or steps aside for something else.
void stepAside(QWidget& window, MessageBar& messages, std::function<void()> then,
               std::chrono::milliseconds limit = steppingAsideLimit);

}  // namespace quillet
