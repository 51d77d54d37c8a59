#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// The old desktop's text encoding, ISO 8859-1.
class Latin1 {
public:
    [[nodiscard]] static std::string toUtf8(std::string_view latin1);
    /// Characters that it does not have become question marks.
    [[nodiscard]] static std::string fromUtf8(std::string_view utf8);
};

}  // namespace quillet
