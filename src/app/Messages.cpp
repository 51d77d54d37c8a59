#include "app/Messages.h"

namespace quillet::messages {

std::string bannerFor(VoiceIntent intent, std::string_view translationTarget) {
    switch (intent) {
        case VoiceIntent::dictate:
            return {};
        case VoiceIntent::command:
            return std::string(commandBanner);
        case VoiceIntent::translate:
            return "Translate → " + std::string(translationTarget);
    }
    return {};
}

std::string_view notInThisVersion(HotkeyMode mode) {
    switch (mode) {
        case HotkeyMode::dictate:
        case HotkeyMode::command:
        case HotkeyMode::translate:
            return {};
        case HotkeyMode::live:
            return "Live mode isn't in this version yet — Fn+Ctrl dictates";
        case HotkeyMode::amend:
            return "Changing the last dictation isn't in this version yet — Fn+Ctrl dictates";
    }
    return {};
}

std::string_view noticeFor(Inserter::Outcome outcome) {
    switch (outcome) {
        case Inserter::Outcome::pasted:
            return {};
        case Inserter::Outcome::appChanged:
            return appChanged;
        case Inserter::Outcome::copied:
            return copied;
        case Inserter::Outcome::lost:
            return notEvenCopied;
    }
    return {};
}

}  // namespace quillet::messages
