#pragma once

#include <asio/awaitable.hpp>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/async/SerialQueue.h"
#include "base/log/Log.h"
#include "meetings/MeetingNote.h"
#include "meetings/PieceCutter.h"
#include "meetings/TwoSides.h"

namespace quillet {

/// What is known of a meeting beside its audio: written down after each piece, so that whatever
/// happens the note can be finished.
struct MeetingRecord {
    enum class Stage {
        open,         ///< recorded or transcribed, or broken off there
        transcribed,  ///< a note without a summary stands in the library
        done,
    };
    std::string id;
    Calendar::UnixTime started;
    Stage stage = Stage::open;
    std::int64_t transcribedUpTo = 0;  ///< samples since the beginning
    std::vector<MeetingNote::Line> lines;
    std::string note;    ///< the file name of its note or of its draft
    std::string target;  ///< the one that its note is to have, where that was begun
};

/// The audio of meetings on the disk, both sides of each as one stereo file, and their records.
/// Everything is written by the archive's own queue.
class MeetingArchive {
public:
    static constexpr std::chrono::days keptFor{7};
    static constexpr std::chrono::days summaryMayCome{90};

    /// The audio of a meeting that goes on.
    class Audio {
    public:
        ~Audio();
        Audio(const Audio&) = delete;
        Audio& operator=(const Audio&) = delete;

        /// Takes the next samples of both sides. One thread at a time.
        void append(std::span<const std::int16_t> user, std::span<const std::int16_t> far);
        /// Waits until what was handed to the disk is done with; false when it could not be written
        /// since the last call. There is silence in its place, and what comes later is tried again.
        [[nodiscard]] asio::awaitable<bool> flush();
        /// Writes once more what could not be written, at its place.
        [[nodiscard]] asio::awaitable<bool> rewrite(std::int64_t from,
                                                    std::shared_ptr<const TwoSides> sides);
        /// Completes the file's header; it is an ordinary sound file from then on.
        [[nodiscard]] asio::awaitable<bool> close();

    private:
        friend class MeetingArchive;
        struct File;
        Audio(std::shared_ptr<SerialQueue> queue, std::shared_ptr<File> file);

        std::shared_ptr<SerialQueue> queue_;
        std::shared_ptr<File> file_;
        std::vector<std::int16_t> pending_;  // interleaved; touched by the appending thread only
    };

    /// `folder` is made when it is first written to. With `queue` none, it makes its own thread.
    MeetingArchive(std::filesystem::path folder, const Calendar& calendar, Log log,
                   std::shared_ptr<SerialQueue> queue);

    /// Begins the audio file of a meeting. None when it cannot be written.
    [[nodiscard]] asio::awaitable<std::unique_ptr<Audio>> begin(std::string id);
    /// A stretch of a meeting's audio. None when it cannot be read.
    [[nodiscard]] asio::awaitable<std::optional<TwoSides>> load(std::string id, std::int64_t from,
                                                                std::int64_t to);
    /// The pieces of a meeting's audio from a position on, as they would have been cut while it
    /// went on.
    [[nodiscard]] asio::awaitable<std::vector<MeetingPiece>> pieces(std::string id,
                                                                    std::int64_t from);

    /// Replaces a meeting's record; false when it could not be written.
    [[nodiscard]] asio::awaitable<bool> save(MeetingRecord record);
    /// Whether there is enough to be done that a meeting is offered again, the oldest one first.
    [[nodiscard]] asio::awaitable<std::vector<MeetingRecord>> unfinished();
    /// The meeting whose note has this file name and no summary; without a name, the latest one.
    [[nodiscard]] asio::awaitable<std::optional<MeetingRecord>> withoutSummary(std::string note);
    /// The meeting whose note has this file name, as long as something is kept of it.
    [[nodiscard]] asio::awaitable<std::optional<MeetingRecord>> ofNote(std::string note);
    /// How many samples a side are kept of a meeting's audio; none when it is gone.
    [[nodiscard]] asio::awaitable<std::optional<std::int64_t>> length(std::string id);
    /// Deletes a meeting's audio and record.
    [[nodiscard]] asio::awaitable<void> remove(std::string id);
    /// Deletes the audio of meetings that are over for 7 days, and their records; of those whose
    /// summary is missing, after 90 days. What is unfinished is kept.
    [[nodiscard]] asio::awaitable<void> deleteExpired();

private:
    [[nodiscard]] std::filesystem::path audioPath(std::string_view id) const;
    [[nodiscard]] std::filesystem::path recordPath(std::string_view id) const;
    [[nodiscard]] std::vector<MeetingRecord> records() const;

    std::filesystem::path folder_;
    const Calendar& calendar_;
    Log log_;
    std::shared_ptr<SerialQueue> queue_;
};

}  // namespace quillet
