#include "memory/ReviewFindings.h"

#include <fmt/format.h>

#include <algorithm>

#include "memory/ReviewJudge.h"

namespace quillet {

using namespace NightlyReview;

namespace {

/// Of the suggestions that wait, and of those that are settled, the latest are kept.
constexpr std::size_t mostOfEither = 500;

void prune(std::vector<Suggestion>& suggestions) {
    const auto waits = [](const Suggestion& one) { return one.status == Status::pending; };
    auto waiting = static_cast<std::size_t>(std::ranges::count_if(suggestions, waits));
    auto settled = suggestions.size() - waiting;
    std::erase_if(suggestions, [&](const Suggestion& one) {
        auto& left = waits(one) ? waiting : settled;
        return left > mostOfEither && left-- > 0;
    });
}

ReviewCounts countsOf(const Run& run) {
    ReviewCounts counts;
    counts.reviewed = run.reviewed;
    counts.learned =
        static_cast<int>(std::ranges::count(run.found, Status::learned, &Suggestion::status));
    counts.asked =
        static_cast<int>(std::ranges::count(run.found, Status::pending, &Suggestion::status));
    counts.failedParts = run.failedParts;
    for (const auto& pair : run.removed)
        counts.removed.push_back(fmt::format("{} → {}", pair.original, pair.corrected));
    return counts;
}

auto samePair(const Suggestion& wanted) {
    return [&wanted](const Suggestion& one) {
        return one.kind == wanted.kind && one.heard == wanted.heard &&
               one.written == wanted.written;
    };
}

void addEntries(Suggestion& to, const std::vector<std::string>& entries) {
    for (const auto& entry : entries) {
        if (std::ranges::find(to.entries, entry) == to.entries.end())
            to.entries.push_back(entry);
    }
}

/// Puts a finding among the suggestions, as a new one or into one that waits; null when that says
/// nothing new, or when the user has answered it.
const Suggestion* entered(std::vector<Suggestion>& suggestions, const Suggestion& found) {
    const auto known = std::ranges::find_if(suggestions, samePair(found));
    if (known == suggestions.end())
        return &suggestions.emplace_back(found);
    if (known->status != Status::pending)
        return nullptr;
    addEntries(*known, found.entries);
    if (found.status != Status::learned)
        return nullptr;
    known->status = Status::learned;
    return &*known;
}

}  // namespace

ReviewFindings::ReviewFindings(Calendar::UnixTime date, Memory memory,
                               std::vector<VocabEntry> vocabulary, FreshId freshId)
    : vocabulary_(std::move(vocabulary)), freshId_(std::move(freshId)) {
    run_.date = date;
    run_.memoryBefore = memory;
    run_.memoryAfter = std::move(memory);
    for (const auto& pair : vocabulary_)
        known_.insert(pair.id());
}

Suggestion& ReviewFindings::add(Kind kind, const std::string& heard, const std::string& written,
                                const std::string& reason) {
    Suggestion one;
    one.id = freshId_();
    one.kind = kind;
    one.heard = heard;
    one.written = written;
    one.reason = reason;
    one.date = run_.date;
    return run_.found.emplace_back(std::move(one));
}

void ReviewFindings::takeIn(const Reply& reply, std::span<const Entry> batch) {
    std::vector<std::string> kept;
    for (const auto& term : reply.terms) {
        const auto verdict = judge(term, batch);
        if (verdict == Verdict::drop)
            continue;
        kept.push_back(term.written);
        takeIn(term, verdict == Verdict::learn ? Status::learned : Status::pending, batch);
    }
    for (const auto& fix : reply.fixes) {
        if (isUsableFix(fix, batch))
            add(Kind::fix, fix.sent, fix.fixed, fix.reason)
                .entries.push_back(batch[static_cast<std::size_t>(fix.id - 1)].id);
    }
    if (reply.memory)
        run_.memoryAfter = updated(run_.memoryAfter, *reply.memory, batch, vocabulary_, kept);
}

/// What one batch asks about another one may be sure of.
void ReviewFindings::takeIn(const Term& term, Status status, std::span<const Entry> batch) {
    if (known_.contains(VocabEntry{term.heard, term.written, 1, ""}.id()))
        return;
    const auto isSame = [&term](const Suggestion& one) {
        return one.kind == Kind::term && one.heard == term.heard && one.written == term.written;
    };
    const auto earlier = std::ranges::find_if(run_.found, isSame);
    auto& found = earlier != run_.found.end()
                      ? *earlier
                      : add(Kind::term, term.heard, term.written, term.reason);
    if (status == Status::learned)
        found.status = status;
    addEntries(found, entriesWith(term.heard, batch));
}

std::vector<VocabEntry> ReviewFindings::pairsToTidy(const State& state) const {
    std::unordered_set<std::string> kept;
    for (const auto& one : state.suggestions) {
        if (one.status == Status::accepted)
            kept.insert(VocabEntry{one.heard, one.written, 1, ""}.id());
    }
    for (const auto& run : state.runs) {
        for (const auto& pair : run.removed) {
            if (run.undone)
                kept.insert(pair.id());
        }
    }
    auto pairs = vocabulary_;
    std::erase_if(pairs, [&kept](const VocabEntry& pair) { return kept.contains(pair.id()); });
    if (pairs.size() <= mostPairsInPrompt)
        return pairs;
    const auto parts = (pairs.size() + mostPairsInPrompt - 1) / mostPairsInPrompt;
    const auto day = std::chrono::floor<std::chrono::days>(run_.date).time_since_epoch().count();
    const auto first = static_cast<std::size_t>(day) % parts * mostPairsInPrompt;
    const auto last = std::min(first + mostPairsInPrompt, pairs.size());
    return {pairs.begin() + static_cast<std::ptrdiff_t>(first),
            pairs.begin() + static_cast<std::ptrdiff_t>(last)};
}

void ReviewFindings::takeIn(const CleanUp& cleanUp, std::span<const VocabEntry> shown) {
    for (const auto index : cleanUp.remove)
        run_.removed.push_back(shown[index]);
    for (const auto& term : cleanUp.dropTerms)
        std::erase(run_.memoryAfter.terms, term);
}

ReviewCommit ReviewFindings::conclude(const State& state) const {
    ReviewCommit commit;
    auto run = run_;
    run.found.clear();
    commit.next = state;
    auto& suggestions = commit.next.suggestions;
    for (const auto& found : run_.found) {
        const auto* kept = entered(suggestions, found);
        if (kept == nullptr)
            continue;
        run.found.push_back(*kept);
        if (kept->status == Status::learned)
            commit.learn.push_back({kept->heard, kept->written, sureConfidence,
                                    std::string(vocabulary_source::review)});
    }
    commit.remove = run.removed;
    commit.next.lastRun = run.date;
    commit.next.memory = run.memoryAfter;
    commit.next.counts = countsOf(run);
    commit.next.report = worded(*commit.next.counts, ReportLanguage::english);
    prune(suggestions);
    commit.next.runs.push_back(std::move(run));
    if (commit.next.runs.size() > mostRuns)
        commit.next.runs.erase(commit.next.runs.begin());
    return commit;
}

}  // namespace quillet
