#include "platform/absent/AbsentKeyboardMonitor.h"

namespace quillet {

std::expected<void, KeyboardMonitor::Error> AbsentKeyboardMonitor::start(OnEvent, OnConflict) {
    return std::unexpected(Error::unavailable);
}

void AbsentKeyboardMonitor::setSwallowed(std::vector<KeyChord>) {}

std::vector<std::string> AbsentKeyboardMonitor::setFunctionKeys(std::vector<std::string> keyNames) {
    return keyNames;
}

}  // namespace quillet
