#include "meetings/MeetingWriter.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/async/Checkpoint.h"
#include "meetings/MeetingNotesRequest.h"

namespace quillet {

namespace {

constexpr std::chrono::milliseconds notesTimeout{300'000};
constexpr double framesPerSecond = 16'000;
constexpr double secondsPerMinute = 60;

/// One microphone alone may stand in a room full of people: its side says who spoke only where
/// there is another.
std::vector<MeetingNote::Line> linesFor(const MeetingRecord& record) {
    auto lines = record.lines;
    const auto isSomebodyElse = [](const MeetingNote::Line& line) {
        return line.speaker && *line.speaker != userSpeaker;
    };
    if (std::ranges::none_of(lines, isSomebodyElse)) {
        for (auto& line : lines) {
            if (line.speaker == userSpeaker)
                line.speaker.reset();
        }
    }
    return withSpeakersNamed(std::move(lines));
}

MeetingNote noteOf(const MeetingRecord& record) {
    MeetingNote note;
    note.started = record.started;
    note.duration =
        MeetingNote::Seconds(static_cast<double>(record.transcribedUpTo) / framesPerSecond);
    note.lines = linesFor(record);
    return note;
}

}  // namespace

asio::awaitable<void> MeetingWriter::writeDraft(MeetingRecord& record) {
    if (record.note.empty())
        record.note = noteFileName(services_.calendar.local(record.started), draftTitle);
    auto compose = [record, &calendar = services_.calendar] {
        auto note = noteOf(record);
        note.summary.title = draftTitle;
        return markdown(note, calendar);
    };
    auto draft = co_await services_.worker.run(std::move(compose));
    if (!co_await services_.notes.write(record.note, std::move(draft)))
        services_.log.error("The draft of the meeting note could not be written");
    co_await checkpoint();
}

asio::awaitable<std::optional<MeetingWriter::Note>> MeetingWriter::writeNote(MeetingRecord& record,
                                                                             Prompting prompting) {
    auto prepare = [record, prompting = std::move(prompting)] {
        auto made = noteOf(record);
        auto body =
            meetingNotesRequest(prompting.model, transcriptText(made.lines), prompting.profile);
        return std::pair(std::move(made), std::move(body));
    };
    auto [note, body] = co_await services_.worker.run(std::move(prepare));
    co_await checkpoint();
    Note result;
    if (!services_.llm.isConfigured()) {
        result.noSummary = "no language model is set up";
    } else {
        const auto reply = co_await services_.llm.complete(std::move(body), notesTimeout);
        co_await checkpoint();
        auto summary = reply ? readSummary(*reply) : std::nullopt;
        if (summary)
            note.summary = std::move(*summary);
        else
            result.noSummary =
                reply ? "the language model's reply could not be read" : reply.error().message;
    }
    if (result.noSummary)
        services_.log.error("No summary of the meeting: {}", *result.noSummary);

    auto compose = [&note, &calendar = services_.calendar] { return markdown(note, calendar); };
    auto text = co_await services_.worker.run(std::move(compose));
    if (!co_await place(record, note.summary.title, std::move(text)))
        co_return std::nullopt;
    record.stage =
        result.noSummary ? MeetingRecord::Stage::transcribed : MeetingRecord::Stage::done;
    if (!co_await services_.archive.save(record))
        services_.log.error("The record of the meeting could not be saved");
    const auto minutes = static_cast<int>(std::lround(note.duration.count() / secondsPerMinute));
    if (!co_await services_.notes.addToIndex(
            {record.id, record.note, record.started, minutes, note.summary.summary}))
        services_.log.error("The index of the meeting notes could not be saved");
    co_await checkpoint();
    result.name = record.note;
    co_return result;
}

/// Puts a note in the place of the draft, or of the note without a summary. Its name is written
/// down before, so that a crash in between leaves no second one.
asio::awaitable<bool> MeetingWriter::place(MeetingRecord& record, std::string title,
                                           std::string text) {
    std::vector<std::string> outdated;
    if (co_await isOurs(record))
        outdated.push_back(record.note);
    if (!record.target.empty() && record.target != record.note)
        outdated.push_back(record.target);
    const auto name = noteFileName(services_.calendar.local(record.started), title);
    const bool again = std::ranges::find(outdated, name) != outdated.end();
    record.target = again ? name : co_await services_.notes.freeName(name);
    if (!co_await services_.archive.save(record))
        services_.log.error("The record of the meeting could not be saved");
    co_await checkpoint();
    if (!co_await services_.notes.write(record.target, std::move(text)))
        co_return false;
    for (const auto& one : outdated) {
        if (one != record.target)
            co_await services_.notes.remove(one);
    }
    record.note = record.target;
    co_await checkpoint();
    co_return true;
}

/// Whether the note is as it was written here. One that the user has changed is the user's.
asio::awaitable<bool> MeetingWriter::isOurs(const MeetingRecord& record) {
    if (record.stage == MeetingRecord::Stage::open)
        co_return true;
    const auto content = co_await services_.notes.read(record.note);
    auto compare = [record, content, &calendar = services_.calendar] {
        return content == markdown(noteOf(record), calendar);
    };
    co_return co_await services_.worker.run(std::move(compare));
}

}  // namespace quillet
