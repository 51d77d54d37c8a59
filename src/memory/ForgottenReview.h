#pragma once

#include <vector>

#include "memory/DeletedDictations.h"
#include "memory/NightlyReview.h"

namespace quillet::NightlyReview {

/// Suggestions as they were, before they were taken out.
struct Forgotten {
    std::vector<Suggestion> suggestions;
    /// What runs found, by the run's date.
    std::vector<std::pair<Calendar::UnixTime, Suggestion>> found;
    bool isWritten = true;  ///< they are gone from the disk as well
};

/// Takes out what rests on nothing but deleted dictations: sentences, and words that wait for the
/// user. Words that were settled stay; they are in the vocabulary, or are not to be asked again.
/// With all dictations goes what is remembered of the user.
Forgotten forget(State& state, const DeletedDictations& deleted);
void restore(State& state, const Forgotten& forgotten);

}  // namespace quillet::NightlyReview
