#include "memory/StoredTime.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace quillet {

namespace {

/// The end of the year 9999.
constexpr double latestSeconds = 253'402'300'799.0;

}  // namespace

double secondsOf(Calendar::UnixTime time) {
    return time.time_since_epoch().count();
}

std::optional<Calendar::UnixTime> timeOf(const nlohmann::json& value) {
    if (!value.is_number())
        return std::nullopt;
    const auto seconds = value.get<double>();
    if (!(std::abs(seconds) <= latestSeconds))
        return std::nullopt;
    return Calendar::UnixTime(std::chrono::duration<double>(seconds));
}

std::optional<Calendar::UnixTime> timeOf(const nlohmann::json& object, std::string_view name) {
    const auto found = object.find(name);
    return found == object.end() ? std::nullopt : timeOf(*found);
}

}  // namespace quillet
