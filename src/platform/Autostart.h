#pragma once

#include <expected>
#include <string>

namespace quillet {

/// Whether the application starts together with the user's desktop session. Reads and writes one
/// small file at most; main queue.
class Autostart {
public:
    virtual ~Autostart() = default;

    /// What the desktop would do now; it may have been changed there as well.
    [[nodiscard]] virtual bool isOn() const = 0;
    /// The error is a sentence for the user; nothing is changed then.
    [[nodiscard]] virtual std::expected<void, std::string> set(bool on) = 0;
};

}  // namespace quillet
