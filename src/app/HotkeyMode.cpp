#include "app/HotkeyMode.h"

#include <array>

namespace quillet {

namespace {

constexpr std::array<HotkeyMode, 5> allModes = {HotkeyMode::dictate, HotkeyMode::command,
                                                HotkeyMode::translate, HotkeyMode::live,
                                                HotkeyMode::amend};

}  // namespace

std::string_view nameOf(HotkeyMode mode) {
    switch (mode) {
        case HotkeyMode::dictate:
            return "dictate";
        case HotkeyMode::command:
            return "command";
        case HotkeyMode::translate:
            return "translate";
        case HotkeyMode::live:
            return "live";
        case HotkeyMode::amend:
            return "amend";
    }
    return {};
}

std::string_view nameOf(VoiceIntent intent) {
    switch (intent) {
        case VoiceIntent::dictate:
            return nameOf(HotkeyMode::dictate);
        case VoiceIntent::command:
            return nameOf(HotkeyMode::command);
        case VoiceIntent::translate:
            return nameOf(HotkeyMode::translate);
    }
    return {};
}

std::optional<HotkeyMode> hotkeyModeNamed(std::string_view name) {
    for (const auto mode : allModes) {
        if (nameOf(mode) == name)
            return mode;
    }
    return std::nullopt;
}

}  // namespace quillet
