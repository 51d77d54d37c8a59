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
#include "store/HistoryReader.h"

namespace quillet {

enum class EntryKind { dictation, live };

/// The text that a kind is stored as.
[[nodiscard]] std::string_view storedName(EntryKind kind);

/// One logged dictation.
struct TranscriptEntry {
    std::string id;
    std::string sessionID;
    Calendar::UnixTime timestamp;
    std::string rawText;    ///< what recognition heard
    std::string finalText;  ///< what was inserted
    bool wasCancelled = false;
    std::optional<std::string> appName;   ///< filled on reading
    std::optional<std::string> replaces;  ///< id of the entry that this one corrects
    std::optional<std::string> appBundleID;
    EntryKind kind = EntryKind::dictation;
};

/// A run of entries in one application without a long pause.
struct VSession {
    std::string id;
    Calendar::UnixTime startedAt;
    std::optional<Calendar::UnixTime> endedAt;  ///< none while open
    std::optional<std::string> appBundleID;
    std::optional<std::string> appDisplayName;
    std::optional<std::string> summary;
    std::vector<std::string> tags;
    int entryCount = 0;
};

/// The local history of dictations, in one SQLite database. May be called from any thread; all
/// database work runs on the store's queue, in order.
///
/// A database that cannot be opened makes every operation do nothing: a dictation never waits for
/// its history. What went wrong last can be asked for, to be shown to the user.
///
/// "Later" is what is so by more than a millisecond: whoever passes a time back may have rounded
/// it.
class SessionStore {
public:
    using Predicate = std::function<bool(const std::string& bundleID)>;

    /// Which applications' entries the store keeps at all, and which it does not show. Both are
    /// asked on the store's queue and must be thread-safe.
    struct Rules {
        Predicate keeps;
        Predicate hides;
    };
    struct NewEntry {
        std::string id;  ///< empty: the store makes one
        Calendar::UnixTime timestamp;
        std::string rawText;
        std::string finalText;
        bool wasCancelled = false;
        EntryKind kind = EntryKind::dictation;
        std::optional<std::string> replaces;
    };
    struct Filter {
        std::optional<std::string> text;
        /// Each occurs in what was heard or in what was written, in any case of any script.
        std::vector<std::string> words;
        std::optional<std::string> application;  ///< bundle id or display name, in any case
        std::optional<Calendar::UnixTime> from;
        std::optional<Calendar::UnixTime> after;  ///< only what is later
        std::optional<Calendar::UnixTime> until;
        std::vector<EntryKind> kinds;  ///< empty: all
        int limit = 100;
    };

    /// Opens the database on first use. `posted` is called on the store's queue after every entry
    /// that was stored.
    SessionStore(const std::filesystem::path& path, Rules rules, std::shared_ptr<IdSource> ids,
                 const Log& log, std::shared_ptr<SerialQueue> queue, std::function<void()> posted);
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
    /// Entries that match all given filters, newest first.
    [[nodiscard]] asio::awaitable<std::vector<TranscriptEntry>> search(Filter filter);

    /// Deletes what is older than this many days before `now`; false when that failed.
    [[nodiscard]] asio::awaitable<bool> purge(int days, Calendar::UnixTime now);
    /// Deletes everything, leaving nothing of it in the file; false when that failed.
    [[nodiscard]] asio::awaitable<bool> deleteAll();

    /// For short reads on another thread, of what may be shown.
    [[nodiscard]] std::unique_ptr<HistoryReader> reader() const;

    /// What went wrong with the last operation; none when it went well.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> lastError();

private:
    class Connection;

    template <class Result, class Work>
    asio::awaitable<Result> perform(Result nothing, Work work);
    asio::awaitable<std::vector<TranscriptEntry>> laterThan(Calendar::UnixTime after, int limit,
                                                            std::string_view order);

    std::filesystem::path path_;
    Predicate hides_;
    std::shared_ptr<SerialQueue> queue_;
    std::shared_ptr<Connection> connection_;  // touched on queue_ only
};

}  // namespace quillet
