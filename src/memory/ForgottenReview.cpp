#include "memory/ForgottenReview.h"

#include <algorithm>

namespace quillet::NightlyReview {

namespace {

/// Moves suggestions out for which that is so, in their order.
template <class Matches>
std::vector<Suggestion> extract(std::vector<Suggestion>& suggestions, const Matches& matches) {
    std::vector<Suggestion> taken;
    std::erase_if(suggestions, [&](Suggestion& one) {
        const bool goes = matches(one);
        if (goes)
            taken.push_back(std::move(one));
        return goes;
    });
    return taken;
}

/// Where it stood: they stand by date.
void insert(std::vector<Suggestion>& suggestions, const Suggestion& one) {
    if (std::ranges::find(suggestions, one.id, &Suggestion::id) == suggestions.end())
        suggestions.insert(std::ranges::upper_bound(suggestions, one.date, {}, &Suggestion::date),
                           one);
}

}  // namespace

Forgotten forget(State& state, const DeletedDictations& deleted) {
    const auto goes = [&deleted](const Suggestion& one) {
        const bool isSettledWord = one.kind == Kind::term && one.status != Status::pending;
        return !isSettledWord && !one.entries.empty() &&
               std::ranges::all_of(one.entries,
                                   [&](const auto& entry) { return deleted.hasID(entry); });
    };
    Forgotten forgotten;
    forgotten.suggestions = extract(state.suggestions, goes);
    for (auto& run : state.runs) {
        for (auto& one : extract(run.found, goes))
            forgotten.found.emplace_back(run.date, std::move(one));
        if (deleted.all)
            run.memoryBefore = run.memoryAfter = {};
    }
    if (deleted.all)
        state.memory = {};
    return forgotten;
}

void restore(State& state, const Forgotten& forgotten) {
    for (const auto& one : forgotten.suggestions)
        insert(state.suggestions, one);
    for (const auto& [date, one] : forgotten.found) {
        const auto run = std::ranges::find(state.runs, date, &Run::date);
        if (run != state.runs.end())
            insert(run->found, one);
    }
}

}  // namespace quillet::NightlyReview
