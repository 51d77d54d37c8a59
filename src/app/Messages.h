#pragma once

#include <string>
#include <string_view>

#include "app/HotkeyMode.h"
#include "app/Inserter.h"

namespace quillet::messages {

// What the panel says. One place, so that the texts can be read side by side and translated.
inline constexpr std::string_view recordingFailedToStart = "Recording failed to start";
inline constexpr std::string_view recordingFailed = "Recording failed";
inline constexpr std::string_view didNotCatch = "Didn't catch that";
inline constexpr std::string_view nothingToPaste = "Nothing to paste yet";
inline constexpr std::string_view passwordField = "A password field is active";
inline constexpr std::string_view excludedApplication =
    "The app in front is on Quillet's excluded list";
inline constexpr std::string_view stillWorking = "Still working on the last dictation";
inline constexpr std::string_view appChanged = "App changed — text copied";
inline constexpr std::string_view copied = "Copied — Ctrl+Option+V pastes it";
inline constexpr std::string_view notEvenCopied =
    "Couldn't be typed or copied — Ctrl+Option+V tries again";
inline constexpr std::string_view historyNotSaved =
    "Typed, but the history couldn't be saved — quillet doctor says why";
inline constexpr std::string_view typedWhatWasHeard =
    "The microphone went away — typed what was heard";
inline constexpr std::string_view wentWrong =
    "Something went wrong — the recording is kept and will be offered";
inline constexpr std::string_view cancelled = "Cancelled";
inline constexpr std::string_view commandBanner = "✦ Command — say what to do";
inline constexpr std::string_view editingSelection = "Editing selection…";
inline constexpr std::string_view sentAsHeard = "Cleanup offline — sent as heard";
inline constexpr std::string_view selectionKept =
    "Cleanup offline — the selection stays, Ctrl+Option+V pastes what you said";
inline constexpr std::string_view selectionChanged = "The selection changed — text copied";
inline constexpr std::string_view selectionTooLong =
    "The selection is too long for a command — Ctrl+Option+V pastes what you said";
inline constexpr std::string_view savedInMenu = " — saved in menu → Recent Recordings";
inline constexpr std::string_view pastesWhatYouSaid = " — Ctrl+Option+V pastes what you said";

/// What stands over a recording with this intent; empty for a plain dictation.
[[nodiscard]] std::string bannerFor(VoiceIntent intent, std::string_view translationTarget);

/// Said where an intent is asked for that this version does not have.
[[nodiscard]] std::string_view notInThisVersion(HotkeyMode mode);

/// What the panel says of the way that an insert ended; empty when the text itself says enough.
[[nodiscard]] std::string_view noticeFor(Inserter::Outcome outcome);

}  // namespace quillet::messages
