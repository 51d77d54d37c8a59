#pragma once

#include <optional>

#include "app/EditedText.h"
#include "app/WordChanges.h"

namespace quillet {

/// What the vocabulary may learn from a place that a user changed; none where the change is no
/// correction of a word but a change of mind, an addition, another grammar of the sentence, or more
/// than a few words. Meets the vocabulary's limits.
[[nodiscard]] std::optional<WordPair> correctionOf(const Change& change);

}  // namespace quillet
