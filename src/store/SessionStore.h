#pragma once

#include <asio/awaitable.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/async/SerialQueue.h"
#include "base/log/Log.h"
#include "platform/Calendar.h"
#include "platform/IdSource.h"
#include "store/HistoryConnection.h"
#include "store/HistoryDeletion.h"
#include "store/HistoryReader.h"
#include "store/HistorySearch.h"
#include "store/TranscriptEntry.h"

namespace quillet {

/// Entries of the history were deleted.
inline constexpr std::string_view entriesDeletedNotification = "Quillet.EntriesDeleted";

/// The local history of dictations, in one SQLite database. May be called from any thread; all
/// database work runs on the store's queue, in order.
///
/// A database that cannot be opened makes every operation do nothing: a dictation never waits for
/// its history. What went wrong last can be asked for, to be shown to the user.
class SessionStore {
public:
    using Rules = HistoryConnection::Rules;
    using Predicate = HistoryConnection::Predicate;
    using Filter = HistoryFilter;

    /// Told of what was deleted, by ids; none: of everything there was.
    using Deleted = std::function<void(const std::vector<std::string>& ids)>;

    struct NewEntry {
        std::string id;  ///< empty: the store makes one
        Calendar::UnixTime timestamp;
        std::string rawText;
        std::string finalText;
        bool wasCancelled = false;
        EntryKind kind = EntryKind::dictation;
        std::optional<std::string> replaces;
    };
    /// Opens the database on first use. On the store's queue, `posted` is called after every entry
    /// that was stored, and `deleted` after what the user deleted is gone.
    SessionStore(const std::filesystem::path& path, Rules rules, std::shared_ptr<IdSource> ids,
                 const Log& log, std::shared_ptr<SerialQueue> queue, std::function<void()> posted,
                 Deleted deleted = {});
    ~SessionStore();
    SessionStore(const SessionStore&) = delete;
    SessionStore& operator=(const SessionStore&) = delete;

    /// Stores one entry, choosing or creating its session. The entry's id; none when it was not
    /// stored: the application is not kept, or the database failed.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> log(
        NewEntry entry, std::optional<std::string> bundleID,
        std::optional<std::string> displayName);

    /// Sessions that have entries, the latest activity first.
    [[nodiscard]] asio::awaitable<std::vector<VSession>> recentSessions(int limit);
    /// Oldest first.
    [[nodiscard]] asio::awaitable<std::vector<TranscriptEntry>> entries(std::string sessionID);
    /// All entries from a time on, oldest first.
    [[nodiscard]] asio::awaitable<std::vector<TranscriptEntry>> entriesSince(
        std::optional<Calendar::UnixTime> from);
    /// The latest entries, newest first; with `after` only those that are later.
    [[nodiscard]] asio::awaitable<std::vector<TranscriptEntry>> newest(
        int limit, std::optional<Calendar::UnixTime> after);
    /// The first entries that are later than this, oldest first.
    [[nodiscard]] asio::awaitable<std::vector<TranscriptEntry>> firstAfter(Calendar::UnixTime after,
                                                                           int limit);
    /// Entries that match all given filters, newest first. Cancelled, it ends early: a newer search
    /// need not wait for an older one.
    [[nodiscard]] asio::awaitable<std::vector<TranscriptEntry>> search(Filter filter);
    /// One entry; none when there is no such, or it is not shown.
    [[nodiscard]] asio::awaitable<std::optional<TranscriptEntry>> entry(std::string id);
    /// Whether there is such an entry, shown or not.
    [[nodiscard]] asio::awaitable<bool> contains(std::string id);

    /// Deletes what is older than this many days before `now`; false when that failed.
    [[nodiscard]] asio::awaitable<bool> purge(int days, Calendar::UnixTime now);
    /// Deletes entries, leaving nothing of them in the file. What they were, which `restore` puts
    /// back; none when that failed.
    [[nodiscard]] asio::awaitable<std::optional<DeletedEntries>> deleteEntries(
        std::vector<std::string> ids);
    /// Puts entries back; false when that failed. They count as stored once more.
    [[nodiscard]] asio::awaitable<bool> restore(DeletedEntries deleted);
    /// Deletes everything, leaving nothing of it in the file; false when that failed.
    [[nodiscard]] asio::awaitable<bool> deleteAll();

    /// For short reads on another thread, of what may be shown.
    [[nodiscard]] std::unique_ptr<HistoryReader> reader() const;

    /// What went wrong with the last operation; none when it went well.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> lastError();

private:
    template <class Result, class Work>
    asio::awaitable<Result> perform(Result nothing, Work work);
    asio::awaitable<std::vector<TranscriptEntry>> laterThan(Calendar::UnixTime after, int limit,
                                                            std::string_view order);

    std::filesystem::path path_;
    Predicate hides_;
    std::shared_ptr<SerialQueue> queue_;
    std::shared_ptr<HistoryConnection> connection_;  // touched on queue_ only
    std::function<void()> posted_;                   // called on queue_
    Deleted deleted_;                                // called on queue_
};

}  // namespace quillet
