#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/RecordingArchive.h"
#include "base/async/Event.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "memory/NightlyReview.h"
#include "memory/ReviewFile.h"
#include "platform/IdSource.h"
#include "refine/LLMRefiner.h"
#include "settings/AppSettings.h"
#include "speech/SpeechClient.h"
#include "store/SessionStore.h"
#include "store/VocabularyDB.h"

namespace quillet {

/// The state of the nightly review changed, or one began or ended.
inline constexpr std::string_view reviewChangedNotification = "Quillet.ReviewChanged";

/// Reads a day's dictations back with the language model, learns from them, and keeps what it found
/// for the user. Belongs to the main queue's thread.
///
/// A run that is broken off in whatever way leaves the state and the vocabulary as they were, or as
/// they are afterwards; the next one asks nothing again that was answered.
class NightlyReviewer {
public:
    struct Services {
        Loop& loop;
        const Calendar& calendar;
        IdSource& ids;
        NotificationCenter& notifications;
        AppSettings& settings;
        SessionStore& history;
        VocabularyDB& vocabulary;
        RecordingArchive& archive;
        SpeechClient& speechClient;
        LLMRefiner& llm;
        ReviewFile::Paths files;
        std::filesystem::path phoneJournal;
        std::shared_ptr<SerialQueue> fileQueue;
        Log log;
    };
    /// One dictation that is to be reviewed.
    struct Row {
        NightlyReview::Entry entry;
        bool recorded = false;  ///< a kept recording exists
        bool fromPhone = false;
    };
    /// The run, none where there was nothing to do; the error is a sentence for the user.
    using Reviewed = std::expected<std::optional<NightlyReview::Run>, std::string>;
    using Done = std::expected<void, std::string>;

    explicit NightlyReviewer(Services services);
    ~NightlyReviewer();
    NightlyReviewer(const NightlyReviewer&) = delete;
    NightlyReviewer& operator=(const NightlyReviewer&) = delete;

    /// Reads the state, and does to its end what a crash left half done.
    [[nodiscard]] asio::awaitable<void> load();
    [[nodiscard]] const NightlyReview::State& state() const { return state_; }
    [[nodiscard]] bool running() const { return running_; }

    /// Reviews what was dictated since the last run. Goes on when the one who asked is gone.
    [[nodiscard]] asio::awaitable<Reviewed> run();

    // The user's answers. Suggestions are numbered from 1, as they stand in the state.
    [[nodiscard]] asio::awaitable<Done> accept(std::size_t number);
    [[nodiscard]] asio::awaitable<Done> dismiss(std::size_t number);
    /// Takes back what was learned from one suggestion.
    [[nodiscard]] asio::awaitable<Done> undo(std::size_t number);
    /// Takes back what the last run did: what it learned and removed, and what it remembered.
    [[nodiscard]] asio::awaitable<Done> undoLastRun();

    /// What is remembered of the user: the review's terms, then the most used ones of the
    /// vocabulary.
    [[nodiscard]] asio::awaitable<LLMRefiner::Memory> memory(int limit);

private:
    struct Review;  // a run under way

    asio::awaitable<void> runToEnd();
    asio::awaitable<Reviewed> review();
    asio::awaitable<std::vector<Row>> collect();
    asio::awaitable<void> hearAgain(Review& review, std::span<Row> rows);
    asio::awaitable<std::optional<std::string>> hearAgain(std::string recording);
    asio::awaitable<bool> reviewBatch(Review& review, std::span<Row> rows);
    using IsUsable = std::function<bool(const std::string& reply)>;
    asio::awaitable<std::optional<std::string>> answer(Review& review, nlohmann::json body,
                                                       IsUsable isUsable);
    void takeIn(Review& review, std::string_view reply,
                std::span<const NightlyReview::Entry> batch);
    asio::awaitable<void> saveProgress(const Review& review);
    asio::awaitable<void> cleanUp(Review& review);
    asio::awaitable<Reviewed> conclude(Review& review);
    [[nodiscard]] bool isStale(const Review& review) const;

    asio::awaitable<Done> change(ReviewCommit commit);
    asio::awaitable<void> carryOut(ReviewCommit& commit);
    void notLearned(NightlyReview::State& next, const ReviewCommit::Pair& pair);
    asio::awaitable<bool> report(std::string text);
    asio::awaitable<Done> settle(std::size_t number, NightlyReview::Status status);
    [[nodiscard]] std::expected<NightlyReview::Suggestion*, std::string> find(
        NightlyReview::State& state, std::size_t number) const;

    Services services_;
    ReviewFile file_;  // touched on the file queue only
    NightlyReview::State state_;
    bool loaded_ = false;
    bool running_ = false;
    bool changing_ = false;
    std::uint64_t generation_ = 0;  // raised by a change of settings that a run must not outlive
    Reviewed reviewedAs_;
    Event ended_;
    NotificationCenter::Subscription settingsChanged_;
    TaskScope tasks_;
};

}  // namespace quillet
