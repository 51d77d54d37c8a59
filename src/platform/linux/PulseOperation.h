#pragma once

#include <pulse/operation.h>

#include <functional>

namespace quillet {

/// Takes an operation over and calls `ended` once when it is over, however it ended: after its own
/// callback, or instead of that when it failed or the server went away. None is over at once. With
/// the connection's lock held; `ended` is called on the sound thread.
void whenEnded(pa_operation* operation, std::function<void()> ended);

}  // namespace quillet
