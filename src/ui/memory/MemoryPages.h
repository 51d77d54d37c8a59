#pragma once

#include <QString>
#include <span>

#include "memory/Knowledge.h"
#include "memory/NightlyReview.h"
#include "store/SessionStore.h"

namespace quillet {

// Pages of rich text for what is remembered. What models and users wrote stands in them as plain
// text.

/// An item of the knowledge base: its takeaway, its dated quotes, notes and earlier conclusions.
[[nodiscard]] QString itemPage(const Knowledge::Item& item, const Calendar& calendar);

/// A suggestion, with the dictations that it rests on.
[[nodiscard]] QString suggestionPage(const NightlyReview::Suggestion& suggestion,
                                     std::span<const TranscriptEntry> dictations,
                                     const Calendar& calendar);

/// What one night did.
[[nodiscard]] QString runPage(const NightlyReview::Run& run, const Calendar& calendar);

/// The profile and the terms.
[[nodiscard]] QString memoryPage(const NightlyReview::Memory& memory);

}  // namespace quillet
