#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/HotkeyMode.h"
#include "base/async/Scheduler.h"
#include "platform/FocusedField.h"

namespace quillet {

/// One dictation, from the press of the chord to its place in the history.
struct Utterance {
    std::optional<std::string> pastedText;     ///< what was inserted
    std::optional<std::string> processedText;  ///< what was to be inserted
    std::optional<Scheduler::TimePoint> commitAt;
    std::string partialTranscript;  ///< what the device has heard so far
    VoiceIntent intent = VoiceIntent::dictate;
    FocusedField::Selection selection;    ///< what a command is about
    std::string context;                  ///< the text before the cursor
    std::string windowTitle;              ///< where the settings allow it to be used
    std::optional<std::string> bundleID;  ///< the application in front at the start
    std::optional<std::string> appName;
    std::optional<std::string> recordingID;  ///< the archived recording that it came from
    std::optional<std::string> entryID;      ///< the history entry logged for it
};

/// The last paste.
struct LastPaste {
    std::string text;
    std::optional<std::string> bundleID;
    Scheduler::TimePoint at;
    bool touched = false;  ///< the user has edited it since
};

}  // namespace quillet
