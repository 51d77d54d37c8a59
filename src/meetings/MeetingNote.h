#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Calendar.h"

namespace quillet {

/// What was said in a meeting and what a language model made of it.
struct MeetingNote {
    using Seconds = std::chrono::duration<double>;

    struct Line {
        Seconds start{};  ///< from the meeting's start
        Seconds end{};
        /// Who said it: one of the two below, a name, or a recogniser's label of a voice.
        std::optional<std::string> speaker;
        std::string text;
        friend bool operator==(const Line&, const Line&) = default;
    };
    struct Todo {
        std::optional<std::string> owner;
        std::string task;
        std::optional<std::string> due;  ///< as it was said
    };
    struct Question {
        std::string question;
        std::optional<std::string> answer;
    };
    /// What the model writes.
    struct Summary {
        std::string title;
        std::string summary;  ///< Markdown bullet lines
        std::vector<std::string> decisions;
        std::vector<Todo> todos;
        std::vector<Question> questions;
        std::string followUp;
    };

    Calendar::UnixTime started;
    Seconds duration{};
    Summary summary;
    std::vector<Line> lines;
};

/// The speakers that are known by the stream that they came from.
inline constexpr std::string_view userSpeaker = "user";
inline constexpr std::string_view farSpeaker = "far side";

/// The title of a note as long as its meeting goes on.
inline constexpr std::string_view draftTitle = "会议（进行中）";

/// The note as it is kept. Texts that a model wrote stay in the place that is theirs: a line break
/// in a title or a to-do does not begin another section.
[[nodiscard]] std::string markdown(const MeetingNote& note, const Calendar& calendar);

/// The lines as the language model reads them: "[mm:ss] speaker: text", where the minutes go on
/// beyond an hour.
[[nodiscard]] std::string transcriptText(const std::vector<MeetingNote::Line>& lines);

/// The same lines with speakers named as people read them: the user and the far side in the
/// language of the meeting, labels of voices as 说话人 A, 说话人 B in the order of their first
/// words; names as they are.
[[nodiscard]] std::vector<MeetingNote::Line> withSpeakersNamed(
    std::vector<MeetingNote::Line> lines);

/// The file name of a note: date, time and title, with nothing that any file system refuses, at
/// most 120 bytes. "2026-11-21 14.30 Budget.md".
[[nodiscard]] std::string noteFileName(std::chrono::local_seconds started, std::string_view title);

/// When the meeting of a note began, by its file name; none where the name does not tell.
[[nodiscard]] std::optional<Calendar::UnixTime> timeOfNote(std::string_view fileName,
                                                           const Calendar& calendar);

}  // namespace quillet
