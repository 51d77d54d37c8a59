#pragma once

#include <functional>

class QWidget;

namespace quillet {

/// Puts a window away and calls `then` once the application behind it has the keyboard, so that
/// what is typed goes there. Not any more when the window is closed before.
void stepAside(QWidget& window, std::function<void()> then);

}  // namespace quillet
