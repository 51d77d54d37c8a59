#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/FrontApplication.h"

namespace quillet {

/// The small panel that says what Quillet is doing. It never takes the keyboard focus.
class FloatingPanel {
public:
    virtual ~FloatingPanel() = default;

    /// Shows the level of a running recording, under a banner that may be empty, on the screen of
    /// this window.
    virtual void showRecording(std::string banner, std::optional<DesktopRect> window) = 0;
    /// Keeps clear of this place, where the user's text appears, until the next recording.
    virtual void avoid(DesktopRect caret) = 0;
    /// Another banner over the running recording.
    virtual void setBanner(std::string banner) = 0;
    /// 0 to 1, smoothed.
    virtual void setLevel(float level) = 0;
    /// The words recognised so far.
    virtual void setPartialText(std::string text) = 0;
    /// Shows that work is under way; an empty text for the usual work.
    virtual void showWorking(std::string text) = 0;
    /// Shows that what was typed is sent by itself when this time has passed, until
    /// `hideCountdown`. `hide` leaves it.
    virtual void showCountdown(std::chrono::milliseconds time) = 0;
    virtual void hideCountdown() = 0;
    /// Shows a sentence for a few seconds, long enough to read it.
    virtual void showNotice(std::string text) = 0;
    /// Nothing is under way any more. A notice that is being read stays.
    virtual void hide() = 0;
};

}  // namespace quillet
