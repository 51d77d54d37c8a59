#pragma once

#include <string>

namespace quillet {

/// Where fresh identifiers come from. Thread-safe.
class IdSource {
public:
    virtual ~IdSource() = default;
    /// A random UUID in its upper-case text form.
    [[nodiscard]] virtual std::string uuid() = 0;
};

}  // namespace quillet
