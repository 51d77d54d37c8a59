#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/async/SerialQueue.h"
#include "meetings/MeetingNote.h"

namespace quillet {

/// What the index beside the notes knows of each.
struct MeetingIndex {
    struct Entry {
        std::string record;  ///< the meeting's id, which its audio has too
        std::string name;    ///< the note's file name
        Calendar::UnixTime started;
        int minutes = 0;
        std::string summary;
    };
    std::vector<Entry> meetings;
};
[[nodiscard]] nlohmann::json encode(const MeetingIndex& index);
[[nodiscard]] MeetingIndex decodeMeetingIndex(const nlohmann::json& value);

/// The folder with the meeting notes. All work is done on its own queue; a note is a file that the
/// user may read, change, rename and delete. A link in it is none.
class MeetingLibrary {
public:
    struct Entry {
        std::string name;  ///< the file name, which carries date, time and title
        std::filesystem::path url;
        Calendar::UnixTime modified;
    };
    /// A note in which something was found.
    struct Hit {
        std::string name;
        std::vector<std::string> lines;
    };

    /// With `queue` none, it makes its own thread.
    MeetingLibrary(std::filesystem::path folder, std::shared_ptr<SerialQueue> queue);

    /// This file name, or the next one that no file has.
    [[nodiscard]] asio::awaitable<std::string> freeName(std::string name);
    /// Writes a note under this file name, over what is there; false when it could not be written.
    [[nodiscard]] asio::awaitable<bool> write(std::string name, std::string markdown);
    /// Notes a meeting in the index, in the place of what is there under its id.
    [[nodiscard]] asio::awaitable<bool> addToIndex(MeetingIndex::Entry entry);
    [[nodiscard]] asio::awaitable<MeetingIndex> index();
    [[nodiscard]] asio::awaitable<void> remove(std::string name);
    /// Deletes a note and what the index knows of it; false when it could not be.
    [[nodiscard]] asio::awaitable<bool> erase(std::string name);

    /// Newest first.
    [[nodiscard]] asio::awaitable<std::vector<Entry>> entries();
    /// None when there is no note by that name.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> read(std::string name);
    /// Notes with lines that hold the words, in any case; newest first.
    [[nodiscard]] asio::awaitable<std::vector<Hit>> search(std::string words, std::size_t most);
    /// Shows every note, newest first; `content` reads it, as bytes. Runs on the library's queue.
    using Content = std::function<std::string()>;
    using Look = std::function<void(const Entry& note, const Content& content)>;
    [[nodiscard]] asio::awaitable<void> forEach(Look look);

    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    /// Where work on all that is remembered can be done without holding anybody up.
    [[nodiscard]] SerialQueue& queue() { return *queue_; }

private:
    [[nodiscard]] std::vector<Entry> list() const;
    [[nodiscard]] std::optional<std::string> bytesOf(std::string_view name) const;
    [[nodiscard]] std::optional<std::string> readNow(std::string_view name) const;

    std::filesystem::path folder_;
    std::shared_ptr<SerialQueue> queue_;
};

}  // namespace quillet
