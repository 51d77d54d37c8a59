#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Calendar.h"

namespace quillet {

/// "2025-06-15 20:26:40", in local time.
[[nodiscard]] std::string timeText(Calendar::UnixTime time, const Calendar& calendar);

}  // namespace quillet
