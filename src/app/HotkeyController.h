#pragma once

#include <string>

#include "app/GlobalHotkey.h"
#include "app/RecordingSession.h"

namespace quillet {

/// Connects the chords with the dictation controller.
class HotkeyController {
public:
    struct Services {
        KeyboardMonitor& keyboard;
        Scheduler& scheduler;
        Loop& loop;
        NotificationCenter& notifications;
        AppSettings& settings;
        RecordingSession& session;
        FloatingPanel& panel;
        Log log;
    };

    explicit HotkeyController(Services services);

    /// False when this desktop does not show an application global keys.
    bool start();

    /// Sentences on chords that belong to somebody else.
    [[nodiscard]] const std::vector<std::string>& conflicts() const { return conflicts_; }

private:
    void followSession();
    void useFunctionKeys();
    void conflict(std::string sentence);

    Services services_;
    GlobalHotkey hotkey_;
    std::vector<std::string> functionKeys_;
    std::vector<std::string> conflicts_;
    std::vector<std::string> keyNameTroubles_;  // those of them that a change of settings settles
    bool began_ = false;                        // the held chord began the recording that runs
    NotificationCenter::Subscription stateChanged_;
    NotificationCenter::Subscription settingsChanged_;
};

}  // namespace quillet
