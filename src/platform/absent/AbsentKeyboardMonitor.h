#pragma once

#include "platform/KeyboardMonitor.h"

namespace quillet {

/// A desktop that does not let an application see global keys.
class AbsentKeyboardMonitor final : public KeyboardMonitor {
public:
    std::expected<void, Error> start(OnEvent onEvent, OnConflict onConflict) override;
    void setSwallowed(std::vector<KeyChord> chords) override;
    void setReportsTyping(bool) override {}
    std::vector<std::string> setFunctionKeys(std::vector<std::string> keyNames) override;
};

}  // namespace quillet
