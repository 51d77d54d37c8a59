#pragma once

#include <QWidget>
#include <functional>
#include <memory>

namespace quillet {

/// A way of making windows that tells how long each took, in ms: from the moment that it began to
/// be made until it had been painted for the first time.
[[nodiscard]] std::function<std::unique_ptr<QWidget>()> timed(
    std::function<std::unique_ptr<QWidget>()> make, std::function<void(double ms)> tell);

}  // namespace quillet
