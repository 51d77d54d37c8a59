#include "memory/KnownItems.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <unordered_set>

namespace quillet::KnowledgeDistiller {

namespace {

/// A term in more items than this, and in more than one of so many, tells nothing.
constexpr std::size_t fewItems = 5;
constexpr std::size_t oneOf = 10;

void appendTerms(const Knowledge::Item& item, std::vector<Term>& terms) {
    quillet::appendTerms(item.title, terms);
    quillet::appendTerms(item.takeaway, terms);
}

void appendAllTerms(const Knowledge::Item& item, std::vector<Term>& terms) {
    appendTerms(item, terms);
    for (const auto& note : item.notes)
        quillet::appendTerms(note, terms);
    for (const auto& example : item.examples)
        quillet::appendTerms(example.quote, terms);
}

}  // namespace

KnownItems::KnownItems(const Knowledge::Store& store, std::span<const Source> sources)
    : store_(store), itemsRead_(store.items.size()) {
    collectTerms(sources);
    readItems();
}

void KnownItems::collectTerms(std::span<const Source> sources) {
    std::vector<Term> all;
    for (const auto& source : sources)
        quillet::appendTerms(source.text, all);
    // At most half full, so that a search ends soon.
    const auto slots = std::bit_ceil(2 * all.size() + 2);
    terms_.resize(slots);
    indexes_.resize(slots);
    Index last = 0;
    for (const auto term : all) {
        const auto slot = slotOf(term);
        if (indexes_[slot] == 0) {
            terms_[slot] = term;
            indexes_[slot] = ++last;
        }
    }
    itemsWith_.resize(last + std::size_t{1});
}

std::size_t KnownItems::slotOf(Term term) const {
    constexpr Term golden = 0x9E37'79B9'7F4A'7C15;
    const auto mask = terms_.size() - 1;
    auto slot = static_cast<std::size_t>((term * golden) >> 32) & mask;
    while (indexes_[slot] != 0 && terms_[slot] != term)
        slot = (slot + 1) & mask;
    return slot;
}

void KnownItems::readItems() {
    std::vector<std::size_t> lastItemWith(itemsWith_.size());
    std::vector<Term> terms;
    ends_.reserve(itemsRead_);
    for (const auto& item : store_.items) {
        terms.clear();
        appendTerms(item, terms);
        const auto number = ends_.size() + 1;
        for (const auto term : terms) {
            const auto index = indexes_[slotOf(term)];
            if (index == 0 || lastItemWith[index] == number)
                continue;
            lastItemWith[index] = number;
            ++itemsWith_[index];
            shared_.push_back(index);
        }
        ends_.push_back(shared_.size());
    }
}

double KnownItems::scoreOf(std::size_t item) const {
    const auto all = static_cast<double>(itemsRead_ + 1);
    double score = 0;
    for (auto i = item == 0 ? 0 : ends_[item - 1]; i < ends_[item]; ++i)
        score += std::log(all / itemsWith_[shared_[i]]);
    return score;
}

std::vector<const Knowledge::Item*> KnownItems::nearest(std::size_t most) const {
    struct Candidate {
        double score;
        const Knowledge::Item* item;
    };
    std::vector<Candidate> candidates;
    candidates.reserve(itemsRead_);
    for (std::size_t i = 0; i < itemsRead_; ++i)
        candidates.push_back({scoreOf(i), &store_.items[i]});
    const auto count = static_cast<std::ptrdiff_t>(std::min(most, candidates.size()));
    std::ranges::partial_sort(candidates, candidates.begin() + count,
                              [](const Candidate& a, const Candidate& b) {
                                  if (a.score != b.score)
                                      return a.score > b.score;
                                  return a.item->lastSeen > b.item->lastSeen;
                              });
    std::vector<const Knowledge::Item*> items;
    for (auto candidate = candidates.begin(); candidate < candidates.begin() + count; ++candidate)
        items.push_back(candidate->item);
    return items;
}

bool KnownItems::isTelling(Term term) const {
    const auto index = indexes_[slotOf(term)];
    return index != 0 && itemsWith_[index] <= std::max(fewItems, itemsRead_ / oneOf);
}

bool KnownItems::speaksOf(std::string_view text, const Knowledge::Item& item) const {
    std::vector<Term> terms;
    quillet::appendTerms(text, terms);
    const std::unordered_set<Term> said(terms.begin(), terms.end());
    terms.clear();
    appendAllTerms(item, terms);
    return std::ranges::any_of(terms,
                               [&](Term term) { return said.contains(term) && isTelling(term); });
}

}  // namespace quillet::KnowledgeDistiller
