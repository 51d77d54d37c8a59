#include "memory/ReviewLedger.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/async/Loop.h"
#include "base/text/Translation.h"

namespace quillet {

using namespace NightlyReview;

namespace {

constexpr std::string_view notSaved =
    toTranslate("The review could not be saved, so nothing was changed. Free some disk space.");
constexpr std::string_view notAllDone = toTranslate(
    "The vocabulary could not be changed everywhere; the rest is done at the next start.");

using Planned = std::expected<ReviewCommit, std::string>;

std::expected<Suggestion*, std::string> find(State& state, std::size_t number) {
    if (number < 1 || number > state.suggestions.size())
        return std::unexpected(fmt::format(
            "There is no suggestion {}. `quillet review show` lists them with their numbers.",
            number));
    return &state.suggestions[number - 1];
}

Planned settled(const State& state, std::size_t number, Status status) {
    ReviewCommit commit;
    commit.next = state;
    const auto found = find(commit.next, number);
    if (!found)
        return std::unexpected(found.error());
    auto& one = **found;
    if (one.status != Status::pending)
        return std::unexpected(
            fmt::format("Suggestion {} is settled already: {}.", number, storedName(one.status)));
    if (status == Status::accepted && one.kind == Kind::term) {
        if (const auto usable = checkPair(one.heard, one.written); !usable)
            return std::unexpected(usable.error());
        commit.learn.push_back(
            {one.heard, one.written, 1.0, std::string(vocabulary_source::manual)});
    }
    one.status = status;
    return commit;
}

Planned undone(const State& state, std::size_t number) {
    ReviewCommit commit;
    commit.next = state;
    const auto found = find(commit.next, number);
    if (!found)
        return std::unexpected(found.error());
    auto& one = **found;
    if (one.status != Status::learned && one.status != Status::accepted)
        return std::unexpected(fmt::format("Nothing was learned from suggestion {}.", number));
    if (one.kind == Kind::term)
        commit.forget.push_back(
            {one.heard, one.written, 1,
             std::string(one.status == Status::learned ? vocabulary_source::review
                                                       : vocabulary_source::manual)});
    one.status = Status::dismissed;
    return commit;
}

Planned lastRunUndone(const State& state) {
    if (state.runs.empty() || state.runs.back().undone)
        return std::unexpected("There is no review to undo.");
    ReviewCommit commit;
    commit.next = state;
    auto& run = commit.next.runs.back();
    run.undone = true;
    commit.restore = run.removed;
    commit.next.memory = run.memoryBefore;
    commit.next.tell(toTranslate("The last review was undone."));
    for (const auto& found : run.found) {
        const auto one = std::ranges::find(commit.next.suggestions, found.id, &Suggestion::id);
        if (one == commit.next.suggestions.end() || one->status != Status::learned)
            continue;
        commit.forget.push_back(
            {one->heard, one->written, 1, std::string(vocabulary_source::review)});
        one->status = Status::dismissed;
    }
    return commit;
}

/// A pair that the vocabulary did not take waits for the user instead.
void wait(std::vector<Suggestion>& suggestions, const ReviewCommit::Pair& pair) {
    for (auto& one : suggestions) {
        const bool same = one.heard == pair.heard && one.written == pair.written;
        if (same && (one.status == Status::learned || one.status == Status::accepted))
            one.status = Status::pending;
    }
}

}  // namespace

struct ReviewLedger::Change {
    Plan plan;
    std::expected<Carried, std::string> result;
    Event ended;
};

ReviewLedger::ReviewLedger(Services services)
    : services_(std::move(services)), tasks_(services_.loop) {}

ReviewLedger::~ReviewLedger() = default;

asio::awaitable<void> ReviewLedger::load() {
    if (!std::exchange(loading_, true))
        tasks_.spawn(read());
    co_await loaded_.wait();
}

asio::awaitable<void> ReviewLedger::read() {
    auto work = [file = services_.file] { return file->load(); };
    auto content = co_await services_.fileQueue->run(std::move(work));
    state_ = std::make_shared<const State>(std::move(content.state));
    if (content.commit)
        (void)co_await carryOut(std::make_shared<ReviewCommit>(std::move(*content.commit)));
    loaded_.set();
    services_.notifications.post(reviewChangedNotification);
}

asio::awaitable<LLMRefiner::Memory> ReviewLedger::memory(int limit) {
    co_await load();
    LLMRefiner::Memory memory{state().memory.terms, state().memory.profile};
    for (auto& term : co_await services_.vocabulary.topCorrected(limit)) {
        if (std::ranges::find(memory.terms, term) == memory.terms.end())
            memory.terms.push_back(std::move(term));
    }
    memory.terms.resize(std::min(memory.terms.size(), static_cast<std::size_t>(limit)));
    co_return memory;
}

// --- Changes ---

asio::awaitable<std::expected<ReviewLedger::Carried, std::string>> ReviewLedger::change(Plan plan) {
    const auto change = std::make_shared<Change>();
    change->plan = std::move(plan);
    tasks_.spawn(changeInTurn(change));
    co_await change->ended.wait();
    co_return change->result;
}

asio::awaitable<void> ReviewLedger::changeInTurn(std::shared_ptr<Change> change) {
    co_await load();
    while (changing_) {
        turn_.reset();
        co_await turn_.wait();
    }
    changing_ = true;
    auto announce =
        [change, state = state_,
         file = services_.file]() -> std::expected<std::shared_ptr<ReviewCommit>, std::string> {
        auto commit = change->plan(*state);
        if (!commit)
            return std::unexpected(std::move(commit.error()));
        auto announced = std::make_shared<ReviewCommit>(std::move(*commit));
        if (!file->save(*state, announced.get()))
            return std::unexpected(std::string(notSaved));
        return announced;
    };
    auto commit = co_await services_.fileQueue->run(std::move(announce));
    if (commit)
        change->result = co_await carryOut(std::move(*commit));
    else
        change->result = std::unexpected(std::move(commit.error()));
    changing_ = false;
    turn_.set();
    change->ended.set();
    services_.notifications.post(reviewChangedNotification);
}

/// Done twice is as good as done once.
asio::awaitable<ReviewLedger::Carried> ReviewLedger::carryOut(
    std::shared_ptr<ReviewCommit> commit) {
    Carried carried;
    ReviewCommit left;
    for (const auto& pair : commit->learn) {
        if (co_await services_.vocabulary.contains(pair.heard, pair.written))
            continue;
        if (co_await services_.vocabulary.learn(pair.heard, pair.written, pair.confidence,
                                                pair.source))
            continue;
        services_.log.error("A pair could not be learned");
        ++carried.notLearned;
        wait(commit->next.suggestions, pair);
        if (!commit->next.runs.empty())
            wait(commit->next.runs.back().found, pair);
    }
    for (const auto& pair : commit->remove) {
        if (!co_await services_.vocabulary.remove(pair.original, pair.corrected) &&
            co_await services_.vocabulary.contains(pair.original, pair.corrected))
            left.remove.push_back(pair);
    }
    co_await forget(*commit, left);
    std::vector<VocabularyDB::SyncEntry> restored;
    const auto now = services_.calendar.now().time_since_epoch().count();
    for (const auto& pair : commit->restore)
        restored.push_back({pair.original, pair.corrected, pair.frequency, now, pair.source});
    if (!restored.empty() && !co_await services_.vocabulary.mergeFromSync(std::move(restored), {}))
        left.restore = commit->restore;

    carried.left = !left.remove.empty() || !left.forget.empty() || !left.restore.empty();
    auto& told = commit->next;
    if (told.report && carried.left)
        *told.report += fmt::format("\n{}", notAllDone);
    if (told.counts)
        told.counts->isLeft = told.counts->isLeft || carried.left;
    auto finish = [commit, left = std::move(left), isLeft = carried.left,
                   file = services_.file]() mutable {
        const auto next = std::make_shared<const State>(std::move(commit->next));
        if (isLeft)
            left.next = *next;
        (void)file->save(*next, isLeft ? &left : nullptr);
        return next;
    };
    auto next = co_await services_.fileQueue->run(std::move(finish));
    // A long state takes a while to be let go of.
    services_.fileQueue->post([old = std::exchange(state_, std::move(next))] {});
    co_return carried;
}

/// Takes pairs back, unless the user has made them their own since.
asio::awaitable<void> ReviewLedger::forget(const ReviewCommit& commit, ReviewCommit& left) {
    if (commit.forget.empty())
        co_return;
    const auto entries = co_await services_.vocabulary.allEntries();
    for (const auto& pair : commit.forget) {
        const auto isStill = [&pair](const VocabEntry& entry) {
            return entry.original == pair.original && entry.corrected == pair.corrected &&
                   entry.source == pair.source;
        };
        if (std::ranges::any_of(*entries, isStill) &&
            !co_await services_.vocabulary.remove(pair.original, pair.corrected))
            left.forget.push_back(pair);
    }
}

asio::awaitable<void> ReviewLedger::report(std::string text) {
    (void)co_await change([text = std::move(text)](const State& state) -> Planned {
        ReviewCommit commit;
        commit.next = state;
        commit.next.tell(text);
        return commit;
    });
}

// --- The user's answers ---

asio::awaitable<ReviewLedger::Done> ReviewLedger::answer(Plan plan) {
    const auto carried = co_await change(std::move(plan));
    if (!carried)
        co_return std::unexpected(carried.error());
    if (carried->notLearned > 0 || carried->left)
        co_return std::unexpected(std::string(notAllDone));
    co_return Done();
}

asio::awaitable<ReviewLedger::Done> ReviewLedger::accept(std::size_t number) {
    return answer(
        [number](const State& state) { return settled(state, number, Status::accepted); });
}

asio::awaitable<ReviewLedger::Done> ReviewLedger::dismiss(std::size_t number) {
    return answer(
        [number](const State& state) { return settled(state, number, Status::dismissed); });
}

asio::awaitable<ReviewLedger::Done> ReviewLedger::undo(std::size_t number) {
    return answer([number](const State& state) { return undone(state, number); });
}

asio::awaitable<ReviewLedger::Done> ReviewLedger::undoLastRun() {
    return answer([](const State& state) { return lastRunUndone(state); });
}

}  // namespace quillet
