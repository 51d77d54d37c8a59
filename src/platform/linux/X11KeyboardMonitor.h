#pragma once

#include <memory>

#include "base/log/Log.h"
#include "platform/KeyboardMonitor.h"

namespace quillet {

class Loop;
class OwnKeys;

/// Sees the keyboard of an X server through raw events, which arrive whatever has the focus or
/// grabs the keyboard, and keeps chords from other programs through passive grabs.
///
/// Option is Alt, Command is Super. Fn is whichever of XF86WakeUp and XF86Fn the keyboard has, the
/// right Control key, which then does not count as Control, and the Menu key.
class X11KeyboardMonitor final : public KeyboardMonitor {
public:
    X11KeyboardMonitor(std::string displayName, Loop& loop, Log log,
                       std::shared_ptr<OwnKeys> ownKeys);
    ~X11KeyboardMonitor() override;

    std::expected<void, Error> start(OnEvent onEvent, OnConflict onConflict) override;
    void setSwallowed(std::vector<KeyChord> chords) override;
    void setReportsTyping(bool reports) override;
    std::vector<std::string> setFunctionKeys(std::vector<std::string> keyNames) override;

private:
    class Watcher;
    std::unique_ptr<Watcher> watcher_;
};

}  // namespace quillet
