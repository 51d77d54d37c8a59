#pragma once

#include "platform/Autostart.h"

namespace quillet {

/// A desktop that starts nothing by itself.
class AbsentAutostart final : public Autostart {
public:
    [[nodiscard]] bool isOn() const override { return false; }
    [[nodiscard]] std::expected<void, std::string> set(bool on) override {
        if (!on)
            return {};
        return std::unexpected("This desktop cannot start Quillet by itself.");
    }
};

}  // namespace quillet
