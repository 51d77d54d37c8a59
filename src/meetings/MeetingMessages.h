#pragma once

#include <string_view>

#include "base/text/Translation.h"

namespace quillet::meeting_messages {

// What the user is told of a meeting: a title and, for some, what stands below it.
inline constexpr std::string_view started = toTranslate("Meeting started");
inline constexpr std::string_view consent =
    toTranslate("Recording other people? Let them know and get their consent first.");
inline constexpr std::string_view cannotStart = toTranslate("Could not start the meeting");
inline constexpr std::string_view microphoneOnly = toTranslate("Meeting: microphone only");
inline constexpr std::string_view allowSystemAudio = toTranslate(
    "To include a call's other side, allow Quillet in System Settings › Privacy & Security › "
    "Screen & System Audio Recording.");
inline constexpr std::string_view speakersMuted = toTranslate(
    "The speakers are muted, so a call's other side cannot be heard. Unmute them to include it.");
inline constexpr std::string_view noSpeakers = toTranslate(
    "There is no sound output, so a call's other side cannot be heard. It is included as soon as "
    "there is one.");
inline constexpr std::string_view noSystemAudio =
    toTranslate("This system does not let Quillet hear a call's other side.");
inline constexpr std::string_view farSideOnly = toTranslate("Meeting: the call's other side only");
inline constexpr std::string_view noMicrophone = toTranslate("There is no microphone.");
inline constexpr std::string_view microphoneRefused =
    toTranslate("The sound server does not let Quillet use the microphone.");
inline constexpr std::string_view noSound =
    toTranslate("There is no sound server, or it does not answer.");
inline constexpr std::string_view nothingIsHeard =
    toTranslate("Meeting: nothing is heard at the moment");
inline constexpr std::string_view almostNothing = toTranslate("Meeting: hearing almost nothing");
inline constexpr std::string_view checkMicrophone =
    toTranslate("Check the microphone — muted, or the wrong input in System Settings › Sound?");
inline constexpr std::string_view notTranscribing =
    toTranslate("Meeting: not written down at the moment");
inline constexpr std::string_view audioIsSafe = toTranslate(
    "The audio is safe; it is tried again until it works, and at the end of the meeting.");
inline constexpr std::string_view diskFailed = toTranslate("Meeting: the disk takes no more audio");
inline constexpr std::string_view diskFailedAdvice = toTranslate(
    "What is said is still written down, but a crash would lose what is not transcribed yet. Free "
    "some space.");
inline constexpr std::string_view stopped = toTranslate("Meeting stopped — writing the note");
inline constexpr std::string_view written = toTranslate("Meeting note written");
inline constexpr std::string_view nothingHeard =
    toTranslate("Nothing was heard — no note written.");
inline constexpr std::string_view notFinished = toTranslate("The meeting note is not finished");
inline constexpr std::string_view audioIsKept =
    toTranslate("Its audio is kept: `quillet meeting recover` goes on with it.");
inline constexpr std::string_view audioIsPartlyKept = toTranslate(
    "The disk is full, so a part of its audio could not be kept. `quillet meeting recover` goes on "
    "with the rest.");
inline constexpr std::string_view interrupted = toTranslate("A meeting was interrupted");
inline constexpr std::string_view interruptedAdvice = toTranslate(
    "Its audio is safe. Menu → Finish the Interrupted Meeting, or `quillet meeting recover`, "
    "writes "
    "the note.");

}  // namespace quillet::meeting_messages
