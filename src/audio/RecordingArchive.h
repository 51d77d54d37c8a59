#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/async/SerialQueue.h"
#include "base/log/Log.h"
#include "platform/Calendar.h"

namespace quillet {

/// Recordings were kept, deleted or given their words.
inline constexpr std::string_view recordingsChangedNotification = "Quillet.RecordingsChanged";

/// Recordings on disk: every recording is spooled here while it is made, so that a crash loses at
/// most its last second; those that could not be typed are kept, to be sent again, for 7 days, and
/// those that the nightly review is to hear until it has.
///
/// Thread-safe where not said otherwise. Disk work is done on the archive's own queue.
class RecordingArchive {
public:
    static constexpr std::chrono::days keptFor{7};

    struct Item {
        std::string id;
        Calendar::UnixTime date;
        double seconds = 0;
        std::string language;
        std::string fileExtension = "wav";
        std::optional<std::string> text;  ///< the transcript, once known
    };

    /// A recording that was taken out.
    struct Taken {
        Item item;
        std::string file;  ///< its audio file
    };

    /// A recording that is being made. `append` may come from the audio thread. Dropped without
    /// `keep`, its file goes away.
    class Spool {
    public:
        ~Spool();
        Spool(const Spool&) = delete;
        Spool& operator=(const Spool&) = delete;

        [[nodiscard]] const std::string& id() const;
        void append(std::span<const std::int16_t> samples);
        /// Writes everything that was appended to the disk; false when that failed.
        [[nodiscard]] asio::awaitable<bool> flush();
        /// What was appended so far, read from the disk.
        [[nodiscard]] asio::awaitable<std::vector<std::int16_t>> load();
        /// Makes an archived recording of it, with its transcript where that is known. False when
        /// it could not be written.
        [[nodiscard]] asio::awaitable<bool> keep(std::optional<std::string> text = {});
        /// Leaves the file as a crash would: the next start finds it.
        void abandon();

    private:
        friend class RecordingArchive;
        struct File;
        Spool(RecordingArchive& archive, std::shared_ptr<File> file);

        RecordingArchive& archive_;
        std::shared_ptr<File> file_;
        std::vector<std::int16_t> pending_;  // touched by the appending thread only
    };

    /// `folder` is made when it is first written to. With `queue` none, it makes its own thread.
    /// `changed` is called after recordings changed, on the thread that did it.
    RecordingArchive(std::filesystem::path folder, const Calendar& calendar, Log log,
                     std::shared_ptr<SerialQueue> queue, std::function<void()> changed = {});

    /// Begins a recording under a fresh id.
    [[nodiscard]] std::unique_ptr<Spool> beginSpool(std::string id, std::string language);

    /// Newest first. Reads the folder.
    [[nodiscard]] std::vector<Item> items() const;
    /// The same, read on the archive's queue.
    [[nodiscard]] asio::awaitable<std::vector<Item>> list() const;
    [[nodiscard]] std::optional<Item> item(std::string_view id) const;
    /// The samples of an archived recording.
    [[nodiscard]] std::expected<std::vector<std::int16_t>, std::string> samples(
        std::string_view id) const;
    /// The same, read on the archive's queue.
    [[nodiscard]] asio::awaitable<std::expected<std::vector<std::int16_t>, std::string>> load(
        std::string id) const;
    /// Notes what a recording turned out to say.
    bool setText(std::string_view id, std::string text);
    /// The same, written on the archive's queue.
    [[nodiscard]] asio::awaitable<bool> noteText(std::string id, std::string text);
    bool remove(std::string_view id);
    /// Deletes a recording and hands it over, on the archive's queue; none when there is none.
    [[nodiscard]] asio::awaitable<std::optional<Taken>> take(std::string id);
    /// Puts a recording back as it was, on the archive's queue; false when it cannot be written.
    [[nodiscard]] asio::awaitable<bool> putBack(Taken recording);
    /// Deletes all recordings, on the archive's queue, and says how many there were.
    [[nodiscard]] asio::awaitable<std::size_t> deleteAll();
    /// Deletes what is older than 7 days, on the archive's queue.
    [[nodiscard]] asio::awaitable<void> deleteExpired();

    /// Turns what an earlier run left unfinished into archived recordings and says how many. Call
    /// once, at start, before the first spool.
    std::size_t recoverInterrupted();

    /// Waits until what was appended has reached the disk. For tests and an orderly end.
    void flush();

private:
    [[nodiscard]] std::filesystem::path audioPath(std::string_view id) const;
    [[nodiscard]] std::filesystem::path recordPath(std::string_view id) const;
    [[nodiscard]] std::filesystem::path spoolPath(std::string_view id) const;
    bool finish(const std::filesystem::path& spool, const Item& item) const;
    bool removeFiles(std::string_view id) const;
    void tellChanged() const;
    bool writeRecord(const Item& item) const;

    std::filesystem::path folder_;
    const Calendar& calendar_;
    Log log_;
    std::function<void()> changed_;
    std::shared_ptr<SerialQueue> queue_;
};

}  // namespace quillet
