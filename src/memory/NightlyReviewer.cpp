#include "memory/NightlyReviewer.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "base/async/Checkpoint.h"
#include "base/text/Translation.h"
#include "memory/NightSchedule.h"
#include "memory/PhoneJournal.h"
#include "memory/ReviewFindings.h"
#include "memory/ReviewPrompt.h"

namespace quillet {

using namespace NightlyReview;

namespace {

using nlohmann::json;

/// Failures in a row after which a server is not asked any more tonight.
constexpr int mostFailures = 3;

constexpr auto paused = toTranslate("Memory is paused (Memory & Knowledge).");
constexpr auto needsHistory = toTranslate("Turn on session history to review it.");
constexpr auto nothingNew = toTranslate("Nothing new to review.");
constexpr auto unreachable = toTranslate("The LLM couldn't be reached — trying again later.");
constexpr auto noAnswer = toTranslate("The LLM didn't answer — trying again later.");
constexpr auto noModel =
    toTranslate("No language model is set up. Set one up in Settings › Writing.");
constexpr auto cancelled = toTranslate("The review was cancelled.");
constexpr auto abandoned =
    toTranslate("The settings or the history changed, so the review was broken off.");

std::vector<Entry> entriesOf(std::span<const NightlyReviewer::Row> rows) {
    std::vector<Entry> entries;
    entries.reserve(rows.size());
    for (const auto& row : rows)
        entries.push_back(row.entry);
    return entries;
}

Entry entryOf(TranscriptEntry&& logged) {
    Entry entry;
    entry.id = std::move(logged.id);
    entry.time = logged.timestamp;
    entry.app = std::move(logged.appName);
    entry.heard = std::move(logged.rawText);
    entry.sent = std::move(logged.finalText);
    entry.bundleID = std::move(logged.appBundleID);
    return entry;
}

Entry entryOf(PhoneDictation&& said) {
    Entry entry;
    entry.time = said.time;
    entry.app = std::move(said.app);
    entry.heard = std::move(said.heard);
    entry.sent = std::move(said.sent);
    return entry;
}

/// Tells a request that was asked before: by all of it.
std::string keyOf(const json& body) {
    const auto text = body.dump(-1, ' ', false, json::error_handler_t::replace);
    std::uint64_t hash = 14'695'981'039'346'656'037U;  // FNV-1a
    for (const unsigned char c : text)
        hash = (hash ^ c) * 1'099'511'628'211U;
    return fmt::format("{:016x}-{}", hash, text.size());
}

/// A model that is slow with one part may be quick with the next.
bool isAway(const LLMError& error) {
    return error.kind == LLMError::Kind::transport && error.cause != HttpError::Kind::timedOut;
}

/// What decides whether a run may go on: the switches first.
auto relevant(const QuilletSettings& record) {
    return std::tuple(record.nightlyReview, record.rememberWhatISay, record.sessionLoggingEnabled,
                      record.llmEnabled, record.llmBaseURL, record.llmModel,
                      record.sessionBlacklist);
}
using Relevant = decltype(relevant(QuilletSettings()));

bool isSwitchedOff(const Relevant& before, const Relevant& now) {
    return (std::get<0>(before) && !std::get<0>(now)) ||
           (std::get<1>(before) && !std::get<1>(now)) || (std::get<2>(before) && !std::get<2>(now));
}

}  // namespace

struct NightlyReviewer::Review {
    std::uint64_t generation = 0;
    std::string model;
    Calendar::UnixTime date;
    ReviewProgress progress;
    std::unique_ptr<ReviewFindings> findings;
    std::optional<Calendar::UnixTime> phoneUpTo;
    std::vector<std::string> heardAgain;  // recordings that are needed no more
    int answered = 0;
    int deafInARow = 0;  // failures of the speech server
};

NightlyReviewer::NightlyReviewer(Services services)
    : services_(std::move(services)),
      file_(std::make_shared<ReviewFile>(services_.files, services_.log)),
      ledger_({services_.loop, services_.calendar, services_.notifications, services_.vocabulary,
               file_, services_.fileQueue, services_.log}),
      secondHearing_(
          {services_.settings, services_.archive, services_.speechClient, services_.fileQueue}),
      tasks_(services_.loop) {
    settingsChanged_ = services_.notifications.subscribe(
        std::string(settingsChangedNotification),
        [this, last = relevant(services_.settings.record())]() mutable {
            auto now = relevant(services_.settings.record());
            if (now != last)
                settingsChanged(isSwitchedOff(last, now));
            last = std::move(now);
        });
}

NightlyReviewer::~NightlyReviewer() = default;

/// What was gathered for a review that is not wanted any more is nobody's business.
void NightlyReviewer::settingsChanged(bool isSwitchedOff) {
    ++generation_;
    if (isSwitchedOff)
        services_.fileQueue->post([file = file_] { file->removeProgress(); });
}

bool NightlyReviewer::isStale(const Review& review) const {
    return review.generation != generation_;
}

// --- A run ---

asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::run() {
    if (running_)
        co_return std::unexpected(std::string(toTranslate("A review is running already.")));
    running_ = true;
    ended_.reset();
    services_.notifications.post(reviewChangedNotification);
    concluding_ = false;
    cancelled_ = false;
    progress_ = {};
    run_ = tasks_.spawn(runToEnd());
    co_await ended_.wait();
    co_return reviewedAs_;
}

asio::awaitable<void> NightlyReviewer::runToEnd() {
    wantsRetry_ = false;
    try {
        reviewedAs_ = co_await review();
    } catch (const std::system_error&) {
        if (!cancelled_)
            throw;
        reviewedAs_ = std::unexpected(std::string(cancelled));
    }
    running_ = false;
    services_.notifications.post(reviewChangedNotification);
    ended_.set();
}

void NightlyReviewer::cancel() {
    if (!running_ || concluding_)
        return;
    cancelled_ = true;
    run_.cancel();
}

asio::awaitable<NightlyReview::Forgotten> NightlyReviewer::forget(DeletedDictations deleted) {
    // One that is about to conclude is not broken off: its turn comes before this change's.
    if (running_)
        ++generation_;
    services_.fileQueue->post([file = file_] { file->removeProgress(); });
    const auto forgotten = std::make_shared<NightlyReview::Forgotten>();
    const auto changed =
        co_await ledger_.change([deleted = std::move(deleted), forgotten](const State& state) {
            ReviewCommit commit;
            commit.next = state;
            *forgotten = NightlyReview::forget(commit.next, deleted);
            return std::expected<ReviewCommit, std::string>(std::move(commit));
        });
    forgotten->isWritten = changed.has_value();
    co_return std::move(*forgotten);
}

asio::awaitable<void> NightlyReviewer::restore(NightlyReview::Forgotten forgotten) {
    if (forgotten.suggestions.empty() && forgotten.found.empty())
        co_return;
    (void)co_await ledger_.change([forgotten = std::move(forgotten)](const State& state) {
        ReviewCommit commit;
        commit.next = state;
        NightlyReview::restore(commit.next, forgotten);
        return std::expected<ReviewCommit, std::string>(std::move(commit));
    });
}

/// The end of a run that is to be tried again.
asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::later(std::string_view why) {
    wantsRetry_ = true;
    co_await ledger_.report(std::string(why));
    co_return std::unexpected(std::string(why));
}

asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::review() {
    co_await ledger_.load();
    const auto& settings = services_.settings.record();
    if (!settings.rememberWhatISay)
        co_return std::unexpected(std::string(paused));
    if (!services_.llm.isConfigured())
        co_return std::unexpected(std::string(noModel));
    if (!settings.sessionLoggingEnabled) {
        if (state().report != needsHistory)
            co_await ledger_.report(std::string(needsHistory));
        co_return std::unexpected(std::string(needsHistory));
    }
    const auto review = std::make_shared<Review>();
    review->generation = generation_;
    review->model = settings.llmModel;
    review->date = services_.calendar.now();
    // A clock that was ahead once must not hide what is said from then on.
    const auto nightBefore =
        latestThree(services_.calendar,
                    latestThree(services_.calendar, review->date) - std::chrono::seconds(1));
    const auto since = std::min(state().lastRun.value_or(nightBefore), review->date);
    auto rows = co_await collect(since, *review);
    co_await checkpoint();
    if (rows.empty()) {
        (void)co_await ledger_.change([date = review->date](const State& state) {
            ReviewCommit commit;
            commit.next = state;
            commit.next.lastRun = date;
            commit.next.tell(nothingNew);
            return std::expected<ReviewCommit, std::string>(std::move(commit));
        });
        co_return std::nullopt;
    }
    services_.log.info("Review start: {} dictations", rows.size());
    co_await prepare(*review, since);

    std::span<Row> rest = rows;
    auto& run = review->findings->run();
    run.reviewed = static_cast<int>(rows.size());
    run.fromPhone = static_cast<int>(std::ranges::count(rows, true, &Row::fromPhone));
    int failuresInARow = 0;
    while (!rest.empty()) {
        progress_ = {rows.size() - rest.size(), rows.size()};
        services_.notifications.post(reviewChangedNotification);
        const auto most = rest.first(std::min(rest.size(), mostEntriesInBatch));
        if (failuresInARow < mostFailures)
            co_await hearAgain(*review, most);
        const auto batch = most.first(batchSize(entriesOf(most)));
        rest = rest.subspan(batch.size());
        auto how = Answered::no;
        if (failuresInARow < mostFailures)
            how = co_await reviewBatch(*review, batch);
        if (how == Answered::stale)
            co_return std::unexpected(std::string(abandoned));
        if (how == Answered::unreachable) {
            services_.log.error("Review skipped: LLM unreachable");
            co_return co_await later(unreachable);
        }
        review->answered += how == Answered::yes ? 1 : 0;
        run.failedParts += how == Answered::yes ? 0 : 1;
        failuresInARow = how == Answered::yes ? 0 : failuresInARow + 1;
    }
    if (review->answered == 0) {
        services_.log.error("Review failed: no batch answered");
        co_return co_await later(noAnswer);
    }
    if (co_await tidy(*review) == Answered::stale)
        co_return std::unexpected(std::string(abandoned));
    if (isStale(*review))
        co_return std::unexpected(std::string(abandoned));
    concluding_ = true;
    co_return co_await conclude(review);
}

asio::awaitable<std::vector<NightlyReviewer::Row>> NightlyReviewer::collect(
    Calendar::UnixTime since, Review& review) {
    auto logged = co_await services_.history.entriesSince(since);
    auto gather = [&] {
        std::unordered_set<std::string> recorded;
        for (auto& item : services_.archive.items())
            recorded.insert(std::move(item.id));
        std::unordered_set<std::string> replaced;
        for (const auto& one : logged) {
            if (one.replaces)
                replaced.insert(*one.replaces);
        }
        std::vector<Row> rows;
        for (auto& one : logged) {
            // The store's answer begins with the very moment that is asked for, and what was
            // changed was said once.
            if (one.timestamp <= since || one.finalText.empty() || replaced.contains(one.id))
                continue;
            const bool kept = recorded.contains(one.id);
            rows.push_back({entryOf(std::move(one)), kept, false});
        }
        for (auto& one :
             readPhoneJournal(services_.phoneJournal, state().phoneReviewedUpTo, review.date)) {
            review.phoneUpTo = one.time;
            rows.push_back({entryOf(std::move(one)), false, true});
        }
        return rows;
    };
    co_return co_await services_.fileQueue->run(std::move(gather));
}

asio::awaitable<void> NightlyReviewer::prepare(Review& review, Calendar::UnixTime since) {
    const auto entries = co_await services_.vocabulary.allEntries();
    auto work = [&] {
        review.progress = file_->loadProgress();
        const double key = since.time_since_epoch().count();
        if (review.progress.since != key)
            review.progress = {key, {}, {}};
        review.findings = std::make_unique<ReviewFindings>(review.date, state().memory, *entries,
                                                           [this] { return services_.ids.uuid(); });
    };
    co_await services_.fileQueue->run(std::move(work));
    co_await checkpoint();
}

asio::awaitable<NightlyReviewer::Answered> NightlyReviewer::reviewBatch(Review& review,
                                                                        std::span<const Row> rows) {
    const auto batch = entriesOf(rows);
    auto build = [&] {
        return reviewRequest(review.model, review.findings->memory(), review.findings->vocabulary(),
                             batch, services_.calendar);
    };
    auto body = co_await services_.fileQueue->run(std::move(build));
    const auto reply = co_await answer(review, std::move(body), [](const std::string& text) {
        return readReply(text).has_value();
    });
    if (reply.how != Answered::yes)
        co_return reply.how;
    auto take = [&] { review.findings->takeIn(*readReply(reply.text), batch); };
    co_await services_.fileQueue->run(std::move(take));
    co_await checkpoint();
    co_return Answered::yes;
}

/// The reply to a request, or what was replied to it before this run was broken off.
asio::awaitable<NightlyReviewer::Answer> NightlyReviewer::answer(Review& review, json body,
                                                                 IsUsable isUsable) {
    const auto key = keyOf(body);
    const auto& replies = review.progress.replies;
    if (const auto known = replies.find(key); known != replies.end())
        co_return Answer{Answered::yes, known->second};
    // The user may have said no while this was prepared.
    if (isStale(review))
        co_return Answer{Answered::stale, ""};
    auto reply = co_await services_.llm.complete(std::move(body));
    co_await checkpoint();
    if (isStale(review))
        co_return Answer{Answered::stale, ""};
    if (!reply) {
        services_.log.error("A part of the review got no answer: {}", reply.error().message);
        co_return Answer{isAway(reply.error()) ? Answered::unreachable : Answered::no, ""};
    }
    auto check = [&] { return isUsable(*reply); };
    if (!co_await services_.fileQueue->run(std::move(check)))
        co_return Answer{Answered::no, ""};  // and asked again the next time
    review.progress.replies.emplace(key, *reply);
    co_await saveProgress(review);
    co_return Answer{Answered::yes, std::move(*reply)};
}

asio::awaitable<void> NightlyReviewer::saveProgress(const Review& review) {
    if (isStale(review))
        co_return;  // it is to be forgotten
    auto save = [&] { return file_->saveProgress(review.progress); };
    if (!co_await services_.fileQueue->run(std::move(save)))
        services_.log.error("The progress of the review could not be saved");
    co_await checkpoint();
}

asio::awaitable<void> NightlyReviewer::hearAgain(Review& review, std::span<Row> rows) {
    bool isNew = false;
    for (auto& row : rows) {
        if (!row.recorded || row.entry.again || review.deafInARow >= mostFailures ||
            isStale(review))
            continue;
        const auto& id = row.entry.id;
        if (const auto known = review.progress.again.find(id);
            known != review.progress.again.end()) {
            row.entry.again = known->second;
        } else {
            row.entry.again = co_await secondHearing_.hear(id);
            co_await checkpoint();
            isNew = isNew || row.entry.again;
        }
        review.deafInARow = row.entry.again ? 0 : review.deafInARow + 1;
        if (!row.entry.again)
            continue;
        review.progress.again.emplace(id, *row.entry.again);
        review.heardAgain.push_back(id);
    }
    if (isNew)
        co_await saveProgress(review);
}

// --- The end of a run ---

asio::awaitable<NightlyReviewer::Answered> NightlyReviewer::tidy(Review& review) {
    const auto terms = review.findings->memory().terms;
    auto choose = [&] { return review.findings->pairsToTidy(state()); };
    const auto shown = co_await services_.fileQueue->run(std::move(choose));
    if (shown.empty() && terms.empty())
        co_return Answered::yes;
    const auto read = [&](const std::string& text) {
        return readCleanUp(text, shown.size(), terms);
    };
    const auto reply =
        co_await answer(review, cleanUpRequest(review.model, shown, terms),
                        [&](const std::string& text) { return read(text).has_value(); });
    if (reply.how == Answered::yes)
        review.findings->takeIn(*read(reply.text), shown);
    co_return reply.how;
}

asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::conclude(
    std::shared_ptr<Review> review) {
    const auto carried = co_await ledger_.change([review](const State& state) {
        auto commit = review->findings->conclude(state);
        if (review->phoneUpTo)
            commit.next.phoneReviewedUpTo = review->phoneUpTo;
        return std::expected<ReviewCommit, std::string>(std::move(commit));
    });
    if (!carried) {
        wantsRetry_ = true;
        co_return std::unexpected(carried.error());
    }
    const auto& run = state().runs.back();
    if (!run.removed.empty() && !carried->left)
        services_.log.info("Vocabulary clean-up: removed {} pairs", run.removed.size());
    services_.log.info("Review done: {}", state().report.value_or(""));
    // A recording that was typed was kept to be heard again, and has been.
    auto forget = [this, review] {
        file_->removeProgress();
        for (const auto& id : review->heardAgain)
            services_.archive.remove(id);
    };
    co_await services_.fileQueue->run(std::move(forget));
    co_return run;
}

}  // namespace quillet
