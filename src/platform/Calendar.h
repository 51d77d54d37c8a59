#pragma once

#include <chrono>

namespace quillet {

/// Wall-clock time, which users may set and time zones shift. For waiting there is the Scheduler.
class Calendar {
public:
    /// Seconds since 1970, with fractions.
    using UnixTime = std::chrono::sys_time<std::chrono::duration<double>>;

    virtual ~Calendar() = default;
    [[nodiscard]] virtual UnixTime now() const = 0;
    /// What a clock on the wall would show at this moment, as if it were UTC.
    [[nodiscard]] virtual std::chrono::local_seconds local(UnixTime time) const = 0;
};

/// The first moment at which a clock on the wall shows this, or, where it is set forward over it,
/// the moment at which it is.
[[nodiscard]] Calendar::UnixTime earliestMoment(const Calendar& calendar,
                                                std::chrono::local_seconds wall);

}  // namespace quillet
