#pragma once

#include <QString>

#include "settings/QuilletSettings.h"

namespace quillet {

/// How people call a key that sends.
[[nodiscard]] QString shownName(SendKeyType key);

/// What is accepted as the time before sending.
inline constexpr double longestSendDelay = 60;  // seconds

}  // namespace quillet
