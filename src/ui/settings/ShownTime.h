#pragma once

#include <QString>

#include "platform/Calendar.h"

namespace quillet {

/// Day and time of day, as the user's region writes them.
[[nodiscard]] QString shownTime(const Calendar& calendar, Calendar::UnixTime time);

}  // namespace quillet
