#pragma once

#include <cstddef>
#include <string_view>

#include "memory/Knowledge.h"
#include "memory/KnowledgeDistiller.h"

namespace quillet::KnowledgeDistiller {

inline constexpr std::size_t longestTakeaway = 600;  ///< in characters

enum class Outcome {
    leftOut,
    unchanged,  ///< it was known already
    added,
    enriched,
    revised,
};

/// A quote and the entry that holds it.
struct Evidence {
    const Source* source = nullptr;
    std::string_view quote;
    std::string_view passage;  ///< the quote with what was said around it
};

// What an operation that is borne out does to one item. The earlier texts stand where the operation
// gives none.

/// Adds the quote, unless it is there with this date.
bool addExample(Knowledge::Item& item, const Evidence& evidence);
[[nodiscard]] Outcome enrich(Knowledge::Item& item, const Op& op, const Evidence& evidence);
[[nodiscard]] Outcome revise(Knowledge::Item& item, const Op& op, const Evidence& evidence);
/// An addition under the title of the item. The model may not have seen the item: its takeaway
/// stands, and the other one becomes a note.
[[nodiscard]] Outcome addAgain(Knowledge::Item& item, std::string_view takeaway,
                               const Evidence& evidence);

}  // namespace quillet::KnowledgeDistiller
