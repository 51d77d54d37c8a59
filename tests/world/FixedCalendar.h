#pragma once

#include "platform/Calendar.h"

namespace quillet::world {

/// A clock that stands, in a place that is always so far ahead of UTC.
class FixedCalendar final : public Calendar {
public:
    explicit FixedCalendar(UnixTime now = {}, std::chrono::seconds ahead = {})
        : now_(now), ahead_(ahead) {}

    [[nodiscard]] UnixTime now() const override { return now_; }
    [[nodiscard]] std::chrono::local_seconds local(UnixTime time) const override {
        const auto wall = std::chrono::floor<std::chrono::seconds>(time.time_since_epoch());
        return std::chrono::local_seconds(wall + ahead_);
    }

private:
    UnixTime now_;
    std::chrono::seconds ahead_;
};

}  // namespace quillet::world
