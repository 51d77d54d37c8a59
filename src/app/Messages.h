#pragma once

#include <string>
#include <string_view>

#include "app/Inserter.h"
#include "app/Utterance.h"
#include "base/text/Translation.h"

namespace quillet::messages {

// What the panel says. One place, so that the texts can be read side by side and translated.
inline constexpr std::string_view recordingFailedToStart = toTranslate("Recording failed to start");
inline constexpr std::string_view recordingFailed = toTranslate("Recording failed");
inline constexpr std::string_view didNotCatch = toTranslate("Didn't catch that");
inline constexpr std::string_view nothingToPaste = toTranslate("Nothing to paste yet");
inline constexpr std::string_view passwordField = toTranslate("A password field is active");
inline constexpr std::string_view excludedApplication =
    toTranslate("The app in front is on Quillet's excluded list");
inline constexpr std::string_view stillWorking = toTranslate("Still working on the last dictation");
inline constexpr std::string_view appChanged = toTranslate("App changed — text copied");
inline constexpr std::string_view copied = toTranslate("Copied — Ctrl+Option+V pastes it");
inline constexpr std::string_view notEvenCopied =
    toTranslate("Couldn't be typed or copied — Ctrl+Option+V tries again");
inline constexpr std::string_view historyNotSaved =
    toTranslate("Typed, but the history couldn't be saved — quillet doctor says why");
inline constexpr std::string_view typedWhatWasHeard =
    toTranslate("The microphone went away — typed what was heard");
inline constexpr std::string_view wentWrong =
    toTranslate("Something went wrong — the recording is kept and will be offered");
inline constexpr std::string_view cancelled = toTranslate("Cancelled");
inline constexpr std::string_view commandBanner = toTranslate("✦ Command — say what to do");
inline constexpr std::string_view editingSelection = toTranslate("Editing selection…");
inline constexpr std::string_view sentAsHeard = toTranslate("Cleanup offline — sent as heard");
inline constexpr std::string_view selectionKept =
    toTranslate("Cleanup offline — the selection stays, Ctrl+Option+V pastes what you said");
inline constexpr std::string_view selectionChanged =
    toTranslate("The selection changed — text copied");
inline constexpr std::string_view selectionTooLong =
    toTranslate("The selection is too long for a command — Ctrl+Option+V pastes what you said");
inline constexpr std::string_view amendBanner =
    toTranslate("✎ Change the last dictation — say how");
inline constexpr std::string_view changingLast = toTranslate("Changing the last dictation…");
inline constexpr std::string_view nothingToAmend =
    toTranslate("Nothing dictated here to change — select text and use Fn+Ctrl+Shift");
inline constexpr std::string_view amendNotFound =
    toTranslate("Couldn't find the last dictation — the change is copied");
inline constexpr std::string_view amendedTextKept =
    toTranslate("Cleanup offline — the text stays, Ctrl+Option+V pastes what you said");
inline constexpr std::string_view liveBanner =
    toTranslate("Live — pause and it's written · Fn+Ctrl to finish");
inline constexpr std::string_view liveConsent =
    toTranslate("Recording other people? Let them know and get their consent first.");
inline constexpr std::string_view liveUnavailable =
    toTranslate("Live mode isn't available with this engine — dictating normally");
inline constexpr std::string_view restCopied = toTranslate("App changed — the rest is copied");
inline constexpr std::string_view restNotTyped =
    toTranslate("The rest couldn't be typed and is copied — Ctrl+Option+V pastes all of it");
inline constexpr std::string_view agentBanner =
    toTranslate("Dictating for your AI — Fn+Ctrl when done");
inline constexpr std::string_view agentGone =
    toTranslate("Your AI isn't listening any more — Ctrl+Option+V pastes what you said");
inline constexpr std::string_view notTaken =
    toTranslate("The app doesn't take the text — it stays on the clipboard");
inline constexpr std::string_view notSent = toTranslate("Not sent");
inline constexpr std::string_view notSentField =
    toTranslate("Not sent — another field has the focus");
inline constexpr std::string_view notSentApplication =
    toTranslate("Not sent — another app is in front");
inline constexpr std::string_view notSentTyping = toTranslate("Not sent, as you go on typing");

// What an AI client is told.
inline constexpr std::string_view agentBusy = "Quillet is busy with another dictation";
inline constexpr std::string_view agentNothing =
    "No speech was captured, or the dictation was cancelled";
inline constexpr std::string_view agentTypingBusy = "Quillet is busy with a dictation";
inline constexpr std::string_view agentEmptyText = "Empty text";
inline constexpr std::string_view agentNotTyped =
    "The text could not be typed: no application took it";

inline constexpr std::string_view savedInMenu = toTranslate(" — saved in menu → Recent Recordings");
inline constexpr std::string_view pastesWhatYouSaid =
    toTranslate(" — Ctrl+Option+V pastes what you said");

/// What stands over a recording; empty for a plain dictation.
[[nodiscard]] std::string bannerFor(const Utterance& utterance, bool forAgent,
                                    std::string_view translationTarget);

/// What the panel says of the way that an insert ended; empty when the text itself says enough.
[[nodiscard]] std::string_view noticeFor(Inserter::Outcome outcome);

}  // namespace quillet::messages
