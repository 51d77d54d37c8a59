#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/HotkeyMode.h"
#include "base/async/Scheduler.h"
#include "platform/FocusedField.h"

namespace quillet {

/// The last paste, which an amend may replace.
struct LastPaste {
    std::string text;
    std::optional<std::string> bundleID;  ///< the application that it went into
    Scheduler::TimePoint at;
    bool touched = false;                ///< the user has edited it since
    std::optional<std::string> entryID;  ///< of its entry, where a history is kept
};

/// One dictation, from the press of the chord to its place in the history.
struct Utterance {
    std::optional<std::string> pastedText;     ///< what was inserted
    std::optional<std::string> processedText;  ///< what was to be inserted
    std::optional<Scheduler::TimePoint> commitAt;
    std::string partialTranscript;  ///< what the device has heard so far
    VoiceIntent intent = VoiceIntent::dictate;
    FocusedField::Selection selection;  ///< what a command is about
    std::string context;                ///< the text before the cursor, where that may be used
    std::string windowTitle;            ///< this and the next, where the settings allow their use
    std::string screenText;
    std::vector<std::string> screenTerms;
    std::optional<std::string> bundleID;  ///< the application in front at the start
    std::optional<std::string> appName;
    std::optional<std::string> recordingID;  ///< the archived recording that it came from
    /// The id that its history entry takes, where the recording is kept under it for the review.
    std::optional<std::string> historyID;
    std::optional<std::string> entryID;  ///< the history entry logged for it
    bool brokenOff = false;              ///< the microphone went away while it was made
    bool live = false;                   ///< each pause is written while recording goes on
    bool liveUnavailable = false;        ///< live was asked for, but the engine cannot do it
    bool liveNotice = false;             ///< the reminder of other people's consent is due
    bool amend = false;                  ///< a command that changes the last dictation
    LastPaste amended;                   ///< what that changes
};

}  // namespace quillet
