#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "base/async/Event.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "memory/NightlyReview.h"
#include "memory/ReviewFile.h"
#include "refine/LLMRefiner.h"
#include "store/VocabularyDB.h"

namespace quillet {

/// The state of the nightly review changed, or one began or ended.
inline constexpr std::string_view reviewChangedNotification = "Quillet.ReviewChanged";

/// Keeps the state of the nightly review, and is the only one to change it and, with it, the
/// vocabulary. What is to be done is written down first, then done, then written down as done; a
/// crash in between is made good by the next start. One change at a time; one that was begun goes
/// on when the one who asked for it is gone. Belongs to the main queue's thread.
class ReviewLedger {
public:
    struct Services {
        Loop& loop;
        const Calendar& calendar;
        NotificationCenter& notifications;
        VocabularyDB& vocabulary;
        std::shared_ptr<ReviewFile> file;  ///< touched on the file queue only
        std::shared_ptr<SerialQueue> fileQueue;
        Log log;
    };
    using State = NightlyReview::State;
    using Done = std::expected<void, std::string>;  ///< the error is a sentence for the user

    /// What became of a change that was written down.
    struct Carried {
        int notLearned = 0;  ///< pairs that the vocabulary did not take; they wait for the user
        bool left = false;   ///< some of it is still to be done, at the next start
    };
    /// Looks at the state as it is when the change's turn comes, on the file queue, and says what
    /// is to be done; the error is a sentence on why nothing is.
    using Plan = std::function<std::expected<ReviewCommit, std::string>(const State&)>;

    explicit ReviewLedger(Services services);
    ~ReviewLedger();
    ReviewLedger(const ReviewLedger&) = delete;
    ReviewLedger& operator=(const ReviewLedger&) = delete;

    /// Waits until the state has been read, and what a crash left half done is done.
    [[nodiscard]] asio::awaitable<void> load();
    [[nodiscard]] const State& state() const { return *state_; }

    /// The error says that nothing was changed, and why.
    [[nodiscard]] asio::awaitable<std::expected<Carried, std::string>> change(Plan plan);
    /// Only the text that tells how the last run went.
    [[nodiscard]] asio::awaitable<void> report(std::string text);

    // The user's answers. Suggestions are numbered from 1, as they stand in the state.
    [[nodiscard]] asio::awaitable<Done> accept(std::size_t number);
    [[nodiscard]] asio::awaitable<Done> dismiss(std::size_t number);
    /// Takes back what was learned from one suggestion.
    [[nodiscard]] asio::awaitable<Done> undo(std::size_t number);
    /// Takes back what the last run did by itself: what it learned and removed, and what it
    /// remembered. What the user accepted since stays, and what waits goes on waiting.
    [[nodiscard]] asio::awaitable<Done> undoLastRun();

    /// What is remembered of the user: the review's terms, then the most used ones of the
    /// vocabulary.
    [[nodiscard]] asio::awaitable<LLMRefiner::Memory> memory(int limit);

private:
    struct Change;

    asio::awaitable<void> read();
    asio::awaitable<void> changeInTurn(std::shared_ptr<Change> change);
    asio::awaitable<Carried> carryOut(std::shared_ptr<ReviewCommit> commit);
    asio::awaitable<void> forget(const ReviewCommit& commit, ReviewCommit& left);
    asio::awaitable<Done> answer(Plan plan);

    Services services_;
    std::shared_ptr<const State> state_ = std::make_shared<const State>();
    bool loading_ = false;
    bool changing_ = false;
    Event loaded_;
    Event turn_;  // the change under way has ended
    TaskScope tasks_;
};

}  // namespace quillet
