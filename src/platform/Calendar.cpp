#include "platform/Calendar.h"

#include <algorithm>

namespace quillet {

namespace {

using std::chrono::seconds;
using Moment = std::chrono::sys_seconds;

/// No clock is set farther from UTC than this.
constexpr seconds farthestOffset = std::chrono::hours(26);
/// Zones do not change twice within this.
constexpr seconds step = std::chrono::hours(1);

seconds offsetAt(const Calendar& calendar, Moment moment) {
    return calendar.local(moment).time_since_epoch() - moment.time_since_epoch();
}

/// The first moment after `begin`, until `end`, with another offset than at `begin`; there is one.
Moment changeBetween(const Calendar& calendar, Moment begin, Moment end) {
    const auto before = offsetAt(calendar, begin);
    while (end - begin > seconds(1)) {
        const auto middle = begin + (end - begin) / 2;
        (offsetAt(calendar, middle) == before ? begin : end) = middle;
    }
    return end;
}

}  // namespace

Calendar::UnixTime earliestMoment(const Calendar& calendar, std::chrono::local_seconds wall) {
    // Through the stretches of time in which the clock is not set.
    for (auto begin = Moment(wall.time_since_epoch()) - farthestOffset;;) {
        const auto offset = offsetAt(calendar, begin);
        auto end = begin + step;
        if (offsetAt(calendar, end) != offset)
            end = changeBetween(calendar, begin, end);
        const auto shown = Moment(wall.time_since_epoch()) - offset;
        if (shown < end)
            return std::max(shown, begin);
        begin = end;
    }
}

}  // namespace quillet
