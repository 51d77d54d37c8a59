#pragma once

#include <fmt/format.h>

#include <string>

namespace quillet {

/// A format that was translated, filled in: sentence(translated("There is no {}."), name).
template <class... Arguments>
[[nodiscard]] std::string sentence(const std::string& format, const Arguments&... arguments) {
    return fmt::format(fmt::runtime(format), arguments...);
}

}  // namespace quillet
