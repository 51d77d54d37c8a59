#pragma once

#include <asio/awaitable.hpp>
#include <optional>
#include <string>

#include "base/log/Log.h"
#include "meetings/MeetingArchive.h"
#include "meetings/MeetingLibrary.h"
#include "refine/LLMRefiner.h"

namespace quillet {

/// Makes notes of what was transcribed: the draft while a meeting goes on, the note at its end, and
/// the summary of a note that has none yet. Belongs to the main queue's thread.
class MeetingWriter {
public:
    struct Services {
        const Calendar& calendar;
        LLMRefiner& llm;
        MeetingArchive& archive;
        MeetingLibrary& notes;
        SerialQueue& worker;  ///< where long notes are put together
        Log log;
    };
    /// What the model is told beside the transcript.
    struct Prompting {
        std::string model;
        std::string profile;  ///< what is remembered of the user
    };
    struct Note {
        std::string name;                      ///< the file name
        std::optional<std::string> noSummary;  ///< why the model wrote none
    };

    explicit MeetingWriter(Services services) : services_(std::move(services)) {}

    /// Writes what there is so far.
    [[nodiscard]] asio::awaitable<void> writeDraft(MeetingRecord& record);
    /// Has the notes written and puts them in the place of the draft. None when they could not be
    /// written to the disk; the record is then as it was.
    [[nodiscard]] asio::awaitable<std::optional<Note>> writeNote(MeetingRecord& record,
                                                                 Prompting prompting);

private:
    asio::awaitable<bool> place(MeetingRecord& record, std::string title, std::string text);
    asio::awaitable<bool> isOurs(const MeetingRecord& record);

    Services services_;
};

}  // namespace quillet
