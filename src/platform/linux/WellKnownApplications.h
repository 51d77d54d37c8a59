#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// Applications that have a well-known id on every desktop, whatever Linux calls them.
class WellKnownApplications {
public:
    /// The well-known id behind a window class, an application id, a Flatpak id or the name of a
    /// desktop file, in any case of letters.
    [[nodiscard]] static std::optional<std::string_view> bundleID(std::string_view linuxId);
};

}  // namespace quillet
