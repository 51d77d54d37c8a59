#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Calendar.h"

namespace quillet {

/// A time as clients read it: "2026-10-13T09:00:00.123Z", in UTC, rounded down to the millisecond.
[[nodiscard]] std::string isoText(Calendar::UnixTime time);

/// A date and time of ISO 8601, with or without seconds and fractions of them. None where it does
/// not say which time zone it means: "Z", "+08:00", "+0800" or "+08".
[[nodiscard]] std::optional<Calendar::UnixTime> timeOfIso(std::string_view text);

}  // namespace quillet
