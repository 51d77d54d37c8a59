#include "app/HotkeyController.h"

namespace quillet {

HotkeyController::HotkeyController(Services services)
    : services_(std::move(services)),
      hotkey_(services_.keyboard, services_.scheduler, services_.loop, services_.log) {
    stateChanged_ = services_.notifications.subscribe(std::string(stateChangedNotification),
                                                      [this] { followSession(); });
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { useFunctionKeys(); });
}

bool HotkeyController::start() {
    GlobalHotkey::Callbacks callbacks;
    callbacks.onHotkeyDown = [this](HotkeyMode mode) {
        began_ = services_.session.state() == RecognitionState::idle;
        services_.session.toggle(mode);
    };
    callbacks.onHotkeyUp = [this] { began_ = false; };
    callbacks.onModeChange = [this](HotkeyMode mode) {
        if (began_)
            services_.session.changeIntent(mode);
    };
    callbacks.onPasteLast = [this] { services_.session.pasteLast(); };
    callbacks.onKeyDown = [this](KeyChord chord) { services_.session.keyDown(chord); };
    callbacks.onConflict = [this](std::string sentence) { conflict(std::move(sentence)); };
    if (!hotkey_.start(std::move(callbacks)))
        return false;
    useFunctionKeys();
    return true;
}

void HotkeyController::followSession() {
    std::vector<KeyChord> captured;
    if (services_.session.escapeCancels())
        captured.push_back({{}, Key::escape});
    if (services_.session.sendPending())
        captured.push_back({{Modifier::command}, Key::period});
    hotkey_.setCaptured(std::move(captured));
    services_.keyboard.setReportsTyping(services_.session.wantsTyping());
}

void HotkeyController::useFunctionKeys() {
    const auto& wanted = services_.settings.record().functionKeys;
    if (wanted == functionKeys_)
        return;
    functionKeys_ = wanted;
    std::erase_if(conflicts_, [this](const std::string& sentence) {
        return std::ranges::find(keyNameTroubles_, sentence) != keyNameTroubles_.end();
    });
    keyNameTroubles_.clear();
    for (const auto& name : services_.keyboard.setFunctionKeys(wanted)) {
        keyNameTroubles_.push_back(
            "\"" + name +
            "\" is not a key name. Names are those that `xev` prints, such as "
            "Menu, Control_R or F13.");
        conflict(keyNameTroubles_.back());
    }
}

void HotkeyController::conflict(std::string sentence) {
    services_.log.error("{}", sentence);
    services_.panel.showNotice(sentence);
    conflicts_.push_back(std::move(sentence));
    services_.notifications.post(stateChangedNotification);
}

}  // namespace quillet
