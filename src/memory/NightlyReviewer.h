#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "memory/ForgottenReview.h"
#include "memory/ReviewLedger.h"
#include "memory/SecondHearing.h"
#include "platform/IdSource.h"
#include "store/SessionStore.h"

namespace quillet {

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
        bool recorded = false;  ///< a kept recording exists, and was not heard again yet
        bool fromPhone = false;
    };
    /// The run, none where there was nothing to do; the error is a sentence for the user.
    using Reviewed = std::expected<std::optional<NightlyReview::Run>, std::string>;

    explicit NightlyReviewer(Services services);
    ~NightlyReviewer();
    NightlyReviewer(const NightlyReviewer&) = delete;
    NightlyReviewer& operator=(const NightlyReviewer&) = delete;

    [[nodiscard]] ReviewLedger& ledger() { return ledger_; }
    [[nodiscard]] const NightlyReview::State& state() const { return ledger_.state(); }
    [[nodiscard]] bool running() const { return running_; }
    /// Whether the last run failed for a reason that passes.
    [[nodiscard]] bool wantsRetry() const { return wantsRetry_; }

    /// Reviews what was dictated since the last run; the first one, since the night before. Goes on
    /// when the one who asked is gone.
    [[nodiscard]] asio::awaitable<Reviewed> run();
    /// How much of the run under way is read.
    struct Progress {
        std::size_t read = 0;
        std::size_t all = 0;  ///< 0 while that is not known
    };
    [[nodiscard]] Progress progress() const { return progress_; }
    /// Breaks off a run under way; what was answered already is kept for the next one. A run that
    /// is about to write down what it found is not broken off any more.
    void cancel();
    [[nodiscard]] bool wasCancelled() const { return cancelled_; }

    /// Takes out what rests on dictations that are deleted, and what a broken-off run was told of
    /// them; a run under way, which may have read them, is broken off. What was taken out, to be
    /// put back.
    [[nodiscard]] asio::awaitable<NightlyReview::Forgotten> forget(DeletedDictations deleted);
    [[nodiscard]] asio::awaitable<void> restore(NightlyReview::Forgotten forgotten);

private:
    struct Review;  // a run under way
    enum class Answered { yes, no, unreachable, stale };

    asio::awaitable<void> runToEnd();
    asio::awaitable<Reviewed> review();
    asio::awaitable<Reviewed> later(std::string_view why);
    asio::awaitable<std::vector<Row>> collect(Calendar::UnixTime since, Review& review);
    asio::awaitable<void> prepare(Review& review, Calendar::UnixTime since);
    asio::awaitable<void> hearAgain(Review& review, std::span<Row> rows);
    asio::awaitable<Answered> reviewBatch(Review& review, std::span<const Row> rows);
    using IsUsable = std::function<bool(const std::string& reply)>;
    struct Answer {
        Answered how = Answered::no;
        std::string text;
    };
    asio::awaitable<Answer> answer(Review& review, nlohmann::json body, IsUsable isUsable);
    asio::awaitable<Answered> tidy(Review& review);
    asio::awaitable<Reviewed> conclude(std::shared_ptr<Review> review);
    asio::awaitable<void> saveProgress(const Review& review);
    void settingsChanged(bool isSwitchedOff);
    [[nodiscard]] bool isStale(const Review& review) const;

    Services services_;
    std::shared_ptr<ReviewFile> file_;  // touched on the file queue only
    ReviewLedger ledger_;
    SecondHearing secondHearing_;
    bool running_ = false;
    bool wantsRetry_ = false;
    bool concluding_ = false;
    bool cancelled_ = false;
    Progress progress_;
    TaskHandle run_;
    std::uint64_t generation_ = 0;  // raised by a change of settings that a run must not outlive
    Reviewed reviewedAs_;
    Event ended_;
    NotificationCenter::Subscription settingsChanged_;
    TaskScope tasks_;
};

}  // namespace quillet
