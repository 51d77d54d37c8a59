#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "memory/Knowledge.h"
#include "memory/KnowledgeDistiller.h"
#include "memory/Terms.h"

namespace quillet::KnowledgeDistiller {

/// What some entries and the items of a store have in common.
class KnownItems {
public:
    /// Reads all items once; `store` must outlive this, items may be added to its end.
    KnownItems(const Knowledge::Store& store, std::span<const Source> sources);

    /// Items to show beside the entries, at most so many: those that share the most telling terms
    /// with them, then those seen last.
    [[nodiscard]] std::vector<const Knowledge::Item*> nearest(std::size_t most) const;

    /// Whether a text of the entries speaks of what the item is about: they share a term that is
    /// not in many items anyway.
    [[nodiscard]] bool speaksOf(std::string_view text, const Knowledge::Item& item) const;

private:
    using Index = std::uint32_t;  ///< of a term of the entries, from 1

    void collectTerms(std::span<const Source> sources);
    void readItems();
    [[nodiscard]] std::size_t slotOf(Term term) const;
    [[nodiscard]] bool isTelling(Term term) const;
    [[nodiscard]] double scoreOf(std::size_t item) const;

    const Knowledge::Store& store_;
    std::size_t itemsRead_;
    /// The entries' terms, in a hash table.
    std::vector<Term> terms_;
    std::vector<Index> indexes_;     ///< 0: the slot is free
    std::vector<Index> itemsWith_;   ///< by index
    std::vector<Index> shared_;      ///< of all items, one after the other, each term once
    std::vector<std::size_t> ends_;  ///< where each item's shared terms end
};

}  // namespace quillet::KnowledgeDistiller
