#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string_view>

#include "platform/Calendar.h"

namespace quillet {

/// A time as records store it: seconds since 1970.
[[nodiscard]] double secondsOf(Calendar::UnixTime time);

[[nodiscard]] std::optional<Calendar::UnixTime> timeOf(const nlohmann::json& value);
/// A time of an object. None when there is none by that name, or one that no calendar shows.
[[nodiscard]] std::optional<Calendar::UnixTime> timeOf(const nlohmann::json& object,
                                                       std::string_view name);

}  // namespace quillet
