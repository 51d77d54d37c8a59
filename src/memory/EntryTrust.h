#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "memory/Knowledge.h"
#include "memory/KnowledgeDistiller.h"

namespace quillet::KnowledgeDistiller {

/// Which entries may bear anything out. Nobody says an item's id or writes operations: a text that
/// holds them is there to be obeyed.
[[nodiscard]] std::vector<bool> trustedEntries(const Knowledge::Store& store,
                                               std::span<const Source> sources);

/// An operation's quote without blanks around it; empty when it is too short to bear anything out.
[[nodiscard]] std::string_view quoteOf(const Op& op);

/// The quote and what was said around it; empty when the entry does not hold it.
[[nodiscard]] std::string_view passageWith(std::string_view quote, std::string_view entry);

}  // namespace quillet::KnowledgeDistiller
