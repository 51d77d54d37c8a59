#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "memory/Knowledge.h"
#include "memory/KnowledgeDistiller.h"

namespace quillet::KnowledgeDistiller {

/// Which entries bear anything out. Nobody says an item's id or writes operations: a text that
/// holds them is there to be obeyed.
class EntryTrust {
public:
    EntryTrust(const Knowledge::Store& store, std::span<const Source> sources);

    /// `entry` from 0.
    [[nodiscard]] bool isTrusted(std::size_t entry) const { return trusted_[entry]; }

private:
    [[nodiscard]] bool holdsId(std::string_view form) const;

    std::unordered_set<std::string> ids_;
    std::unordered_set<std::size_t> lengths_;  ///< of the ids
    std::vector<bool> trusted_;
};

/// An operation's quote without blanks around it; empty when it is too short to bear anything out.
[[nodiscard]] std::string_view quoteOf(const Op& op);

/// The quote and what was said around it; empty when the entry does not hold it.
[[nodiscard]] std::string_view passageWith(std::string_view quote, std::string_view entry);

}  // namespace quillet::KnowledgeDistiller
