#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/async/SerialQueue.h"
#include "base/log/Log.h"

namespace quillet {

/// One correction: what recognition produces, and what the user writes.
struct VocabEntry {
    std::string original;
    std::string corrected;
    int frequency = 1;
    std::string source;

    /// Names the pair, which exists once.
    [[nodiscard]] std::string id() const { return original + '\x1F' + corrected; }
    friend bool operator==(const VocabEntry&, const VocabEntry&) = default;
};

/// Where a pair came from; learning components have names of their own.
namespace vocabulary_source {
inline constexpr std::string_view manual = "manual";  ///< added by the user
inline constexpr std::string_view usage = "usage";    ///< counted from use
inline constexpr std::string_view sync = "sync";      ///< from another device
inline constexpr std::string_view edit = "edit";      ///< learned from the user's own edits
inline constexpr std::string_view review = "review";  ///< learned by the nightly review
inline constexpr std::string_view agent = "agent";    ///< taught by an AI client
}  // namespace vocabulary_source

/// Whether a pair may be added; the error is a sentence for the user.
[[nodiscard]] std::expected<void, std::string> checkPair(std::string_view original,
                                                         std::string_view corrected);

/// Whether a pair, trimmed, is one that the table keeps; it need not be one that may be added.
[[nodiscard]] bool fitsTheTable(std::string_view original, std::string_view corrected);

/// The user's personal vocabulary, in one SQLite database. May be called from any thread; all
/// database work runs on the store's queue, in order, and a read that begins after a change has
/// ended sees it, be it a change of another process.
///
/// A database that cannot be opened leaves the vocabulary empty, and the rest working.
class VocabularyDB {
public:
    using Entries = std::shared_ptr<const std::vector<VocabEntry>>;

    struct Files {
        std::filesystem::path database;
        /// What an early version kept: a JSON object of originals and corrected forms. Taken over
        /// into an empty database.
        std::filesystem::path legacyDictionary;
    };

    /// What another device knows of a pair.
    struct SyncEntry {
        std::string original;
        std::string corrected;
        std::int64_t frequency = 1;
        double learnedAt = 0;  ///< seconds since 1970
        std::optional<std::string> source;
        friend bool operator==(const SyncEntry&, const SyncEntry&) = default;
    };
    struct Tombstone {
        std::string original;
        std::string corrected;
    };

    /// Opens the database on first use.
    VocabularyDB(const Files& files, const Log& log, std::shared_ptr<SerialQueue> queue);
    ~VocabularyDB();
    VocabularyDB(const VocabularyDB&) = delete;
    VocabularyDB& operator=(const VocabularyDB&) = delete;

    /// Stores a pair, or counts another use of it. White space around both is dropped. False when
    /// that failed.
    [[nodiscard]] asio::awaitable<bool> learn(std::string original, std::string corrected,
                                              double confidence, std::string source);
    /// Every pair, most frequent first. As long as nothing changes, the same object.
    [[nodiscard]] asio::awaitable<Entries> allEntries();
    /// The most used corrected forms.
    [[nodiscard]] asio::awaitable<std::vector<std::string>> topCorrected(int limit);
    [[nodiscard]] asio::awaitable<bool> contains(std::string original, std::string corrected);
    /// False when there was no such pair.
    [[nodiscard]] asio::awaitable<bool> remove(std::string original, std::string corrected);

    [[nodiscard]] asio::awaitable<std::vector<SyncEntry>> exportForSync();
    /// Takes over another device's pairs and deletions, all or none; twice is as good as once.
    /// False when that failed.
    [[nodiscard]] asio::awaitable<bool> mergeFromSync(std::vector<SyncEntry> entries,
                                                      std::vector<Tombstone> tombstones);
    /// Deletes the pairs that the user did not add by hand; how many.
    [[nodiscard]] asio::awaitable<int> resetAutoLearned();

    /// What went wrong with the last operation; none when it went well.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> lastError();

    /// Where work on the entries that would hold up the main queue can be done.
    [[nodiscard]] SerialQueue& queue() { return *queue_; }

private:
    class Table;

    template <class Result, class Work>
    asio::awaitable<Result> perform(Result nothing, Work work);

    std::shared_ptr<SerialQueue> queue_;
    std::shared_ptr<Table> table_;  // touched on queue_ only
};

}  // namespace quillet
