#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/HotkeyMode.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/KeyboardMonitor.h"

namespace quillet {

/// Turns keyboard events into chords:
///   Fn+Control            dictate; with Shift command, Option translate, Command live,
///                         Shift+Option amend
///   Control+Option+Space  dictate
///   Control+Option+V      paste the last result again
/// and tells of the other keys that the user presses, as far as the monitor reports them.
///
/// Belongs to the main queue's thread.
class GlobalHotkey {
public:
    static constexpr std::chrono::seconds maxHoldDuration{120};

    struct Callbacks {
        std::function<void(HotkeyMode)> onHotkeyDown;
        std::function<void()> onHotkeyUp;
        std::function<void(HotkeyMode)> onModeChange;  ///< modifiers were added to a held chord
        std::function<void()> onPasteLast;
        std::function<void(KeyChord)> onKeyDown;      ///< any other key that the user pressed
        std::function<void(std::string)> onConflict;  ///< a sentence for the user
    };

    GlobalHotkey(KeyboardMonitor& monitor, Scheduler& scheduler, Loop& loop, Log log);

    /// False when this desktop does not show an application global keys.
    bool start(Callbacks callbacks);
    /// Chords that are to be kept from the application as well, for they cancel something.
    void setCaptured(std::vector<KeyChord> chords);

private:
    void handle(const KeyboardEvent& event);
    void modifiersChanged(Modifiers modifiers);
    void keyDown(const KeyboardEvent& event);
    void resynchronise(Modifiers modifiers);
    void press(HotkeyMode mode);
    void release();
    asio::awaitable<void> releaseAfterMaxHold();
    void swallow();
    [[nodiscard]] static HotkeyMode modeFor(Modifiers modifiers);

    enum class Held { nothing, functionControl, controlOptionSpace };

    KeyboardMonitor& monitor_;
    Scheduler& scheduler_;
    Log log_;
    Callbacks callbacks_;
    Held held_ = Held::nothing;
    Modifiers collected_;  // extra modifiers of the held chord; they only ever grow
    std::vector<KeyChord> captured_;
    bool awaitsRelease_ = false;  // the chord was released for the user, who still holds it
    // The monitor may live longer; what it tells later is for nobody.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    TaskHandle safetyTimer_;
    TaskScope tasks_;
};

}  // namespace quillet
