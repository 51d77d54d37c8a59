#pragma once

#include <string>
#include <string_view>

namespace quillet {

inline constexpr std::string_view abcInputSource = "com.apple.keylayout.ABC";
inline constexpr std::string_view usInputSource = "com.apple.keylayout.US";

/// The keyboard's input source: a layout or an input method.
class InputSource {
public:
    virtual ~InputSource() = default;

    /// Id of the source in use; empty when the platform has no such thing.
    [[nodiscard]] virtual std::string current() = 0;
    /// Whether Latin letters can be typed with the source in use.
    [[nodiscard]] virtual bool canTypeAscii() = 0;
    /// False when there is no such source. The two ids above stand for any source that types ASCII.
    virtual bool select(std::string_view id) = 0;
};

}  // namespace quillet
