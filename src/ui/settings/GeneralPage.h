#pragma once

#include <expected>
#include <functional>
#include <string>

#include "app/HotkeyController.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

/// The language of the windows, the start at login, the keys, and what happens while recording.
class GeneralPage : public SettingsPage {
public:
    struct Services {
        const HotkeyController& hotkeys;
        /// Whether Quillet starts when the user logs in; none where that cannot be arranged.
        std::function<bool()> startsAtLogin;
        /// The error is a sentence for the user.
        std::function<std::expected<void, std::string>(bool on)> setStartsAtLogin;
    };

    GeneralPage(const Binding& binding, Services services);

private:
    void addProgram();
    void addStartAtLogin(QFormLayout& form);
    void addRecording();
    void addKeys();
    void addChords(QFormLayout& form);

    Services services_;
};

}  // namespace quillet
