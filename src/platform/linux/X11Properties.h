#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quillet {

class X11Connection;

/// Properties of windows. A window that is gone has none.
class X11Properties {
public:
    /// The bytes of a property of any type, in UTF-8 if they are text.
    [[nodiscard]] static std::optional<std::string> text(X11Connection& connection, unsigned window,
                                                         const std::string& name);
    [[nodiscard]] static std::optional<std::uint32_t> window(X11Connection& connection,
                                                             unsigned window,
                                                             const std::string& name);
};

}  // namespace quillet
