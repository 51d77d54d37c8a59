#pragma once

#include <QString>

#include "platform/Calendar.h"

namespace quillet {

// A moment as the user's calendar and language write it.
[[nodiscard]] QString dayText(Calendar::UnixTime time, const Calendar& calendar);
[[nodiscard]] QString dayAndTimeText(Calendar::UnixTime time, const Calendar& calendar);

}  // namespace quillet
