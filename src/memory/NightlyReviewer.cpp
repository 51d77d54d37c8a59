#include "memory/NightlyReviewer.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "audio/Wav.h"
#include "base/async/Checkpoint.h"
#include "memory/PhoneJournal.h"
#include "memory/ReviewJudge.h"
#include "memory/ReviewPrompt.h"
#include "settings/CloudflareAccount.h"
#include "speech/SpeechSession.h"
#include "speech/TranscriptionRequest.h"
#include "speech/cleanup/RecognitionPrompt.h"

namespace quillet {

using namespace NightlyReview;

namespace {

using nlohmann::json;

constexpr std::size_t mostSettled = 500;
/// Failures in a row after which a server is not asked any more tonight.
constexpr int mostFailures = 3;
constexpr double framesPerSecond = 16'000;

constexpr std::string_view paused = "Memory is paused (Memory & Knowledge).";
constexpr std::string_view needsHistory = "Turn on session history to review it.";
constexpr std::string_view nothingNew = "Nothing new to review.";
constexpr std::string_view unreachable = "The LLM couldn't be reached — trying again later.";
constexpr std::string_view noAnswer = "The LLM didn't answer — trying again later.";
constexpr std::string_view noModel =
    "No language model is set up. Set llmEnabled, llmBaseURL and llmModel.";
constexpr std::string_view abandoned = "The settings changed; the review starts again later.";
constexpr std::string_view notSaved =
    "The review could not be saved, so it changed nothing. Free some disk space.";

std::vector<Entry> entriesOf(std::span<NightlyReviewer::Row> rows) {
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

/// Keeps what waits for the user, and of the rest the latest.
void prune(std::vector<Suggestion>& suggestions) {
    auto settled = static_cast<std::size_t>(std::ranges::count_if(
        suggestions, [](const auto& one) { return one.status != Status::pending; }));
    std::erase_if(suggestions, [&](const Suggestion& one) {
        return one.status != Status::pending && settled > mostSettled && settled-- > 0;
    });
}

std::string reportOf(const Run& run, std::string_view cleanedUp) {
    const auto learned = std::ranges::count(run.found, Status::learned, &Suggestion::status);
    const auto asked = std::ranges::count(run.found, Status::pending, &Suggestion::status);
    auto text = fmt::format("{} dictation{} read: {} learned, {} waiting for you.", run.reviewed,
                            run.reviewed == 1 ? "" : "s", learned, asked);
    if (run.failedParts > 0)
        text += fmt::format(" {} part{} got no usable answer.", run.failedParts,
                            run.failedParts == 1 ? "" : "s");
    text += cleanedUp;
    return text;
}

/// Tells a request that was asked before: by all of it.
std::string keyOf(const json& body) {
    const auto text = body.dump(-1, ' ', false, json::error_handler_t::replace);
    std::uint64_t hash = 14'695'981'039'346'656'037U;  // FNV-1a
    for (const unsigned char c : text)
        hash = (hash ^ c) * 1'099'511'628'211U;
    return fmt::format("{:016x}-{}", hash, text.size());
}

}  // namespace

/// What a run has found so far. Nothing of it is believed by anybody before it is concluded.
struct NightlyReviewer::Review {
    std::uint64_t generation = 0;
    std::string model;
    ReviewProgress progress;
    std::vector<VocabEntry> vocabulary;
    std::set<std::pair<std::string, std::string>> known;  // pairs of vocabulary, review and state
    Run run;
    std::vector<ReviewCommit::Pair> learn;
    std::string cleanedUp;                  // the report's line
    std::optional<LLMError::Kind> failure;  // of the last request
    std::optional<Calendar::UnixTime> phoneUpTo;
    int answered = 0;
    int failuresInARow = 0;
    int deafInARow = 0;  // failures of the speech server
};

NightlyReviewer::NightlyReviewer(Services services)
    : services_(std::move(services)),
      file_(services_.files, services_.log),
      tasks_(services_.loop) {
    auto relevant = [this] {
        const auto& record = services_.settings.record();
        return std::tuple(record.nightlyReview, record.rememberWhatISay, record.llmEnabled,
                          record.llmBaseURL, record.llmModel, record.sessionLoggingEnabled,
                          record.sessionBlacklist);
    };
    settingsChanged_ = services_.notifications.subscribe(
        std::string(settingsChangedNotification), [this, relevant, last = relevant()]() mutable {
            auto now = relevant();
            if (now != last)
                ++generation_;
            last = std::move(now);
        });
}

NightlyReviewer::~NightlyReviewer() = default;

asio::awaitable<void> NightlyReviewer::load() {
    if (std::exchange(loaded_, true))
        co_return;
    auto read = [this] { return file_.load(); };
    auto content = co_await services_.fileQueue->run(std::move(read));
    state_ = std::move(content.state);
    if (content.commit)
        co_await carryOut(*content.commit);
    services_.notifications.post(reviewChangedNotification);
}

asio::awaitable<LLMRefiner::Memory> NightlyReviewer::memory(int limit) {
    co_await load();
    const auto most = static_cast<std::size_t>(limit);
    LLMRefiner::Memory memory{state_.memory.terms, state_.memory.profile};
    for (auto& term : co_await services_.vocabulary.topCorrected(limit)) {
        if (std::ranges::find(memory.terms, term) == memory.terms.end())
            memory.terms.push_back(std::move(term));
    }
    memory.terms.resize(std::min(memory.terms.size(), most));
    co_return memory;
}

// --- A run ---

asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::run() {
    if (running_)
        co_return std::unexpected("A review is running already.");
    if (changing_)
        co_return std::unexpected("The review is being saved. Try again in a moment.");
    running_ = true;
    ended_.reset();
    services_.notifications.post(reviewChangedNotification);
    tasks_.spawn(runToEnd());
    co_await ended_.wait();
    co_return reviewedAs_;
}

asio::awaitable<void> NightlyReviewer::runToEnd() {
    reviewedAs_ = co_await review();
    running_ = false;
    services_.notifications.post(reviewChangedNotification);
    ended_.set();
}

asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::review() {
    co_await load();
    const auto& settings = services_.settings.record();
    if (!settings.rememberWhatISay)
        co_return std::unexpected(std::string(paused));
    if (!services_.llm.isConfigured())
        co_return std::unexpected(std::string(noModel));
    if (!settings.sessionLoggingEnabled) {
        (void)co_await report(std::string(needsHistory));
        co_return std::unexpected(std::string(needsHistory));
    }
    Review review;
    review.generation = generation_;
    review.model = settings.llmModel;
    review.run.date = services_.calendar.now();
    auto rows = co_await collect();
    co_await checkpoint();
    if (rows.empty()) {
        (void)co_await report(std::string(nothingNew));
        co_return std::nullopt;
    }
    services_.log.info("Review start: {} dictations", rows.size());
    auto readProgress = [this] { return file_.loadProgress(); };
    review.progress = co_await services_.fileQueue->run(std::move(readProgress));
    const double since = state_.lastRun ? state_.lastRun->time_since_epoch().count() : 0;
    if (review.progress.since != since)
        review.progress = {since, {}, {}};
    review.vocabulary = *co_await services_.vocabulary.allEntries();
    co_await checkpoint();
    for (const auto& pair : review.vocabulary)
        review.known.emplace(pair.original, pair.corrected);
    for (const auto& one : state_.suggestions) {
        if (one.kind == Kind::term)
            review.known.emplace(one.heard, one.written);
    }
    review.run.memoryBefore = state_.memory;
    review.run.memoryAfter = state_.memory;
    review.run.reviewed = static_cast<int>(rows.size());
    for (const auto& row : rows) {
        if (!row.fromPhone)
            continue;
        ++review.run.fromPhone;
        review.phoneUpTo = row.entry.time;
    }

    std::span<Row> rest = rows;
    while (!rest.empty()) {
        const auto size =
            batchSize(entriesOf(rest.first(std::min(rest.size(), mostEntriesInBatch))));
        const auto batch = rest.first(size);
        rest = rest.subspan(size);
        const bool goesOn = co_await reviewBatch(review, batch);
        if (isStale(review))
            co_return std::unexpected(std::string(abandoned));
        if (!goesOn)
            co_return std::unexpected(std::string(unreachable));
    }
    if (review.answered == 0) {
        services_.log.error("Review failed: no batch answered");
        (void)co_await report(std::string(noAnswer));
        co_return std::unexpected(std::string(noAnswer));
    }
    co_await cleanUp(review);
    if (isStale(review))
        co_return std::unexpected(std::string(abandoned));
    co_return co_await conclude(review);
}

bool NightlyReviewer::isStale(const Review& review) const {
    return review.generation != generation_;
}

asio::awaitable<std::vector<NightlyReviewer::Row>> NightlyReviewer::collect() {
    auto logged = co_await services_.history.entriesSince(state_.lastRun);
    auto fromPhone = [this] {
        return readPhoneJournal(services_.phoneJournal, state_.phoneReviewedUpTo);
    };
    auto phone = co_await services_.fileQueue->run(std::move(fromPhone));
    auto recordings = [this] {
        std::set<std::string> ids;
        for (auto& item : services_.archive.items())
            ids.insert(std::move(item.id));
        return ids;
    };
    const auto recorded = co_await services_.fileQueue->run(std::move(recordings));
    std::vector<Row> rows;
    for (auto& one : logged) {
        // The store's answer begins with the very moment that is asked for.
        if ((state_.lastRun && one.timestamp <= *state_.lastRun) || one.finalText.empty())
            continue;
        const bool kept = recorded.contains(one.id);
        rows.push_back({entryOf(std::move(one)), kept, false});
    }
    for (auto& one : phone) {
        Entry entry;
        entry.time = one.time;
        entry.app = std::move(one.app);
        entry.heard = std::move(one.heard);
        entry.sent = std::move(one.sent);
        rows.push_back({std::move(entry), false, true});
    }
    co_return rows;
}

/// False when the model cannot be reached at all, so that the whole run is put off.
asio::awaitable<bool> NightlyReviewer::reviewBatch(Review& review, std::span<Row> rows) {
    if (review.failuresInARow >= mostFailures) {
        ++review.run.failedParts;
        co_return true;
    }
    co_await hearAgain(review, rows);
    auto batch = entriesOf(rows);
    auto build = [&] {
        return reviewRequest(review.model, review.run.memoryAfter, review.vocabulary, batch,
                             services_.calendar);
    };
    auto body = co_await services_.fileQueue->run(std::move(build));
    auto reply = co_await answer(review, std::move(body), [](const std::string& text) {
        return readReply(text).has_value();
    });
    if (isStale(review))
        co_return true;
    if (reply) {
        auto take = [&] { takeIn(review, *reply, batch); };
        co_await services_.fileQueue->run(std::move(take));
        co_await checkpoint();
        ++review.answered;
        review.failuresInARow = 0;
        co_return true;
    }
    ++review.run.failedParts;
    ++review.failuresInARow;
    if (review.answered == 0 && review.failure == LLMError::Kind::transport) {
        services_.log.error("Review skipped: LLM unreachable");
        (void)co_await report(std::string(unreachable));
        co_return false;
    }
    co_return true;
}

/// The reply to a request, or what was replied to it before this run was broken off.
asio::awaitable<std::optional<std::string>> NightlyReviewer::answer(Review& review, json body,
                                                                    IsUsable isUsable) {
    const auto key = keyOf(body);
    review.failure.reset();
    if (const auto known = review.progress.replies.find(key);
        known != review.progress.replies.end())
        co_return known->second;
    auto reply = co_await services_.llm.complete(std::move(body));
    co_await checkpoint();
    if (!reply) {
        services_.log.error("A part of the review got no answer: {}", reply.error().message);
        review.failure = reply.error().kind;
        co_return std::nullopt;
    }
    auto check = [&] { return isUsable(*reply); };
    if (!co_await services_.fileQueue->run(std::move(check)))
        co_return std::nullopt;  // and asked again the next time
    review.progress.replies.emplace(key, *reply);
    co_await saveProgress(review);
    co_return std::move(*reply);
}

asio::awaitable<void> NightlyReviewer::saveProgress(const Review& review) {
    auto save = [this, progress = review.progress] { return file_.saveProgress(progress); };
    if (!co_await services_.fileQueue->run(std::move(save)))
        services_.log.error("The progress of the review could not be saved");
    co_await checkpoint();
}

/// On the file queue; the reply is one that can be read.
void NightlyReviewer::takeIn(Review& review, std::string_view text, std::span<const Entry> batch) {
    const auto reply = readReply(text);
    const auto suggest = [&](Kind kind, const std::string& heard, const std::string& written,
                             const std::string& reason) -> Suggestion& {
        Suggestion one;
        one.id = services_.ids.uuid();
        one.kind = kind;
        one.heard = heard;
        one.written = written;
        one.reason = reason;
        one.date = review.run.date;
        return review.run.found.emplace_back(std::move(one));
    };
    std::vector<std::string> kept;
    for (const auto& term : reply->terms) {
        const auto verdict = judge(term, batch);
        if (verdict == Verdict::drop)
            continue;
        kept.push_back(term.written);
        if (!review.known.emplace(term.heard, term.written).second)
            continue;
        auto& found = suggest(Kind::term, term.heard, term.written, term.reason);
        found.entries = entriesWith(term.heard, batch);
        if (verdict == Verdict::learn) {
            found.status = Status::learned;
            review.learn.push_back({term.heard, term.written, term.confidence,
                                    std::string(vocabulary_source::review)});
        }
    }
    for (const auto& fix : reply->fixes) {
        if (!isUsableFix(fix, batch))
            continue;
        auto& found = suggest(Kind::fix, fix.sent, fix.fixed, fix.reason);
        found.entries.push_back(batch[static_cast<std::size_t>(fix.id - 1)].id);
    }
    if (reply->memory)
        review.run.memoryAfter =
            updated(review.run.memoryAfter, *reply->memory, batch, review.vocabulary, kept);
}

// --- Kept recordings ---

asio::awaitable<void> NightlyReviewer::hearAgain(Review& review, std::span<Row> rows) {
    for (auto& row : rows) {
        if (!row.recorded || review.deafInARow >= mostFailures)
            continue;
        auto& heard = review.progress.again;
        if (const auto known = heard.find(row.entry.id); known != heard.end()) {
            row.entry.again = known->second;
            continue;
        }
        row.entry.again = co_await hearAgain(row.entry.id);
        co_await checkpoint();
        if (row.entry.again) {
            heard.emplace(row.entry.id, *row.entry.again);
            co_await saveProgress(review);
        }
        review.deafInARow = row.entry.again ? 0 : review.deafInARow + 1;
        if (isStale(review))
            co_return;
    }
}

/// What the user's server hears in a recording. The device would only hear the same again.
asio::awaitable<std::optional<std::string>> NightlyReviewer::hearAgain(std::string recording) {
    const auto settings = services_.settings.record();
    const auto endpoint = resolvedAddress(settings.sttEndpoint, settings.cloudflareAccount);
    if (settings.sttEngineType == STTEngineType::apple || !endpoint || endpoint->empty())
        co_return std::nullopt;
    const auto samples = co_await services_.archive.load(std::move(recording));
    if (!samples)
        co_return std::nullopt;
    auto encode = [&samples] {
        auto audio = std::make_shared<TranscriptionRequest::Audio>();
        audio->data = encodeWav(*samples);
        audio->fileExtension = "wav";
        audio->seconds = static_cast<double>(samples->size()) / framesPerSecond;
        return std::shared_ptr<const TranscriptionRequest::Audio>(std::move(audio));
    };
    SpeechClient::Job job;
    job.request.audio = co_await services_.fileQueue->run(std::move(encode));
    job.request.url = *endpoint;
    const auto* keyName = isCloudflareWhisper(*endpoint) ? "cloudflareToken" : "sttAPIKey";
    job.request.apiKey = (co_await services_.settings.secretFor(keyName, *endpoint)).value_or("");
    job.request.timeout = transcriptionTimeout(job.request.audio->seconds);
    job.request.language = settings.languageCode();
    job.request.model = settings.sttModel;
    job.request.prompt = defaultRecognitionPrompt;
    job.request.vadOff = true;
    job.selectedLanguage = settings.languageCode().value_or("mixed");
    co_await checkpoint();
    auto text = co_await services_.speechClient.transcribe(std::move(job));
    if (!text)
        co_return std::nullopt;
    co_return std::move(*text);
}

// --- The end of a run ---

asio::awaitable<void> NightlyReviewer::cleanUp(Review& review) {
    const auto& all = review.vocabulary;
    auto& terms = review.run.memoryAfter.terms;
    if (all.empty() && terms.empty())
        co_return;
    // A large vocabulary is looked through in some nights, a part each.
    const auto parts = (all.size() + mostPairsInPrompt - 1) / mostPairsInPrompt;
    const auto first = parts == 0 ? 0 : state_.runs.size() % parts * mostPairsInPrompt;
    const auto shown =
        std::span(all).subspan(first).first(std::min(mostPairsInPrompt, all.size() - first));
    const auto isUsable = [&](const std::string& text) {
        return readCleanUp(text, shown.size(), terms).has_value();
    };
    const auto reply =
        co_await answer(review, cleanUpRequest(review.model, shown, terms), isUsable);
    const auto clean = reply ? readCleanUp(*reply, shown.size(), terms) : std::nullopt;
    if (!clean)
        co_return;
    for (const auto index : clean->remove) {
        const auto& pair = shown[index];
        review.run.removed.push_back(pair);
        review.cleanedUp += fmt::format(
            "{} {} → {}", review.cleanedUp.empty() ? "\nRemoved from the vocabulary:" : ",",
            pair.original, pair.corrected);
    }
    for (const auto& term : clean->dropTerms)
        std::erase(terms, term);
}

asio::awaitable<NightlyReviewer::Reviewed> NightlyReviewer::conclude(Review& review) {
    auto& run = review.run;
    ReviewCommit commit;
    commit.learn = std::move(review.learn);
    commit.remove = run.removed;
    commit.next = state_;
    commit.next.lastRun = run.date;
    if (review.phoneUpTo)
        commit.next.phoneReviewedUpTo = review.phoneUpTo;
    commit.next.memory = run.memoryAfter;
    commit.next.report = reportOf(run, review.cleanedUp);
    auto& suggestions = commit.next.suggestions;
    suggestions.insert(suggestions.end(), run.found.begin(), run.found.end());
    prune(suggestions);
    commit.next.runs.push_back(run);
    if (commit.next.runs.size() > mostRuns)
        commit.next.runs.erase(commit.next.runs.begin());
    const auto done = co_await change(std::move(commit));
    if (!done)
        co_return std::unexpected(std::string(notSaved));
    if (!run.removed.empty())
        services_.log.info("Vocabulary clean-up: removed {} pairs", run.removed.size());
    services_.log.info("Review done: {}", *state_.report);
    auto forget = [this] { file_.removeProgress(); };
    co_await services_.fileQueue->run(std::move(forget));
    co_return state_.runs.back();
}

/// Writes down what is to be done, does it, and writes down that it is done. The error says that
/// nothing was changed.
asio::awaitable<NightlyReviewer::Done> NightlyReviewer::change(ReviewCommit commit) {
    changing_ = true;
    auto announce = [this, state = state_, commit] { return file_.save(state, &commit); };
    const bool announced = co_await services_.fileQueue->run(std::move(announce));
    if (announced)
        co_await carryOut(commit);
    changing_ = false;
    services_.notifications.post(reviewChangedNotification);
    if (!announced)
        co_return std::unexpected(std::string(notSaved));
    co_return Done();
}

/// A pair that the vocabulary did not take waits for the user instead.
void NightlyReviewer::notLearned(State& next, const ReviewCommit::Pair& pair) {
    services_.log.error("A pair could not be learned");
    const auto wait = [&](std::vector<Suggestion>& suggestions) {
        for (auto& one : suggestions) {
            const bool same = one.heard == pair.heard && one.written == pair.written;
            if (same && (one.status == Status::learned || one.status == Status::accepted))
                one.status = Status::pending;
        }
    };
    wait(next.suggestions);
    if (!next.runs.empty())
        wait(next.runs.back().found);
}

/// Done twice is as good as done once.
asio::awaitable<void> NightlyReviewer::carryOut(ReviewCommit& commit) {
    for (const auto& pair : commit.learn) {
        if (co_await services_.vocabulary.contains(pair.heard, pair.written))
            continue;
        if (!co_await services_.vocabulary.learn(pair.heard, pair.written, pair.confidence,
                                                 pair.source))
            notLearned(commit.next, pair);
    }
    for (const auto& pair : commit.remove)
        (void)co_await services_.vocabulary.remove(pair.original, pair.corrected);
    std::vector<VocabularyDB::SyncEntry> restored;
    const auto now = services_.calendar.now().time_since_epoch().count();
    for (const auto& pair : commit.restore)
        restored.push_back({pair.original, pair.corrected, pair.frequency, now, pair.source});
    if (!restored.empty() && !co_await services_.vocabulary.mergeFromSync(std::move(restored), {}))
        services_.log.error("Removed pairs could not be put back");
    state_ = commit.next;
    auto save = [this, state = state_] { return file_.save(state); };
    (void)co_await services_.fileQueue->run(std::move(save));
}

asio::awaitable<bool> NightlyReviewer::report(std::string text) {
    state_.report = std::move(text);
    auto save = [this, state = state_] { return file_.save(state); };
    co_return co_await services_.fileQueue->run(std::move(save));
}

// --- The user's answers ---

std::expected<Suggestion*, std::string> NightlyReviewer::find(State& state,
                                                              std::size_t number) const {
    if (running_ || changing_)
        return std::unexpected("A review is running. Try again when it is done.");
    if (number < 1 || number > state.suggestions.size())
        return std::unexpected(fmt::format(
            "There is no suggestion {}. `quillet review show` lists them with their numbers.",
            number));
    return &state.suggestions[number - 1];
}

asio::awaitable<NightlyReviewer::Done> NightlyReviewer::accept(std::size_t number) {
    return settle(number, Status::accepted);
}

asio::awaitable<NightlyReviewer::Done> NightlyReviewer::dismiss(std::size_t number) {
    return settle(number, Status::dismissed);
}

asio::awaitable<NightlyReviewer::Done> NightlyReviewer::settle(std::size_t number, Status status) {
    co_await load();
    ReviewCommit commit;
    commit.next = state_;
    const auto found = find(commit.next, number);
    if (!found)
        co_return std::unexpected(found.error());
    auto& one = **found;
    if (one.status != Status::pending)
        co_return std::unexpected(
            fmt::format("Suggestion {} is settled already: {}.", number, storedName(one.status)));
    if (status == Status::accepted && one.kind == Kind::term) {
        if (const auto usable = checkPair(one.heard, one.written); !usable)
            co_return std::unexpected(usable.error());
        commit.learn.push_back(
            {one.heard, one.written, 1.0, std::string(vocabulary_source::manual)});
    }
    one.status = status;
    co_return co_await change(std::move(commit));
}

asio::awaitable<NightlyReviewer::Done> NightlyReviewer::undo(std::size_t number) {
    co_await load();
    ReviewCommit commit;
    commit.next = state_;
    const auto found = find(commit.next, number);
    if (!found)
        co_return std::unexpected(found.error());
    auto& one = **found;
    if (one.status != Status::learned && one.status != Status::accepted)
        co_return std::unexpected(fmt::format("Nothing was learned from suggestion {}.", number));
    if (one.kind == Kind::term)
        commit.remove.push_back({one.heard, one.written, 1, ""});
    one.status = Status::dismissed;
    co_return co_await change(std::move(commit));
}

asio::awaitable<NightlyReviewer::Done> NightlyReviewer::undoLastRun() {
    co_await load();
    if (running_ || changing_)
        co_return std::unexpected("A review is running. Try again when it is done.");
    if (state_.runs.empty() || state_.runs.back().undone)
        co_return std::unexpected("There is no review to undo.");
    ReviewCommit commit;
    commit.next = state_;
    auto& run = commit.next.runs.back();
    run.undone = true;
    commit.restore = run.removed;
    commit.next.memory = run.memoryBefore;
    commit.next.report = "The last review was undone.";
    for (const auto& found : run.found) {
        const auto one = std::ranges::find(commit.next.suggestions, found.id, &Suggestion::id);
        if (one == commit.next.suggestions.end() || one->status == Status::dismissed)
            continue;
        if (one->kind == Kind::term && one->status != Status::pending)
            commit.remove.push_back({one->heard, one->written, 1, ""});
        one->status = Status::dismissed;
    }
    co_return co_await change(std::move(commit));
}

}  // namespace quillet
