#include "cli/TimeText.h"

#include <fmt/chrono.h>

namespace quillet {

std::string timeText(Calendar::UnixTime time, const Calendar& calendar) {
    const auto local = calendar.local(time).time_since_epoch();
    return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::gmtime(std::chrono::sys_seconds(local)));
}

}  // namespace quillet
