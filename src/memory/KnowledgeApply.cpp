#include <algorithm>
#include <unordered_map>
#include <utility>

#include "base/text/Text.h"
#include "memory/EntryTrust.h"
#include "memory/ItemChange.h"
#include "memory/KnowledgeDistiller.h"
#include "memory/KnownItems.h"
#include "memory/TextForms.h"

namespace quillet::KnowledgeDistiller {

namespace {

using Knowledge::Item;

constexpr std::size_t mostNewCategories = 2;

// In characters.
constexpr std::size_t longestTitle = 120;
constexpr std::size_t longestCategoryName = 40;
constexpr std::size_t longestAbout = 200;

constexpr std::string_view newCategory = "new";

/// One reply on its way into a store.
class Application {
public:
    Application(Knowledge::Store& store, std::span<const Source> sources, const FreshId& freshId)
        : store_(store),
          sources_(sources),
          freshId_(freshId),
          trusted_(trustedEntries(store, sources)),
          known_(store, sources) {
        for (std::size_t i = 0; i < store.items.size(); ++i)
            byId_.emplace(store.items[i].id, i);
    }

    Outcome apply(const Op& op) {
        if (op.kind == Op::Kind::skip)
            return op.confidence >= leastConfidence ? Outcome::unchanged : Outcome::leftOut;
        const auto evidence = evidenceFor(op);
        if (!evidence)
            return Outcome::leftOut;
        if (op.kind == Op::Kind::add)
            return add(op, *evidence);
        const auto found = byId_.find(op.item);
        if (found == byId_.end())
            return Outcome::leftOut;
        auto& item = store_.items[found->second];
        if (!known_.speaksOf(evidence->passage, item))
            return Outcome::leftOut;
        return op.kind == Op::Kind::enrich ? enrich(item, op, *evidence)
                                           : revise(item, op, *evidence);
    }

    [[nodiscard]] const std::vector<std::string>& newCategories() const { return newCategories_; }

private:
    [[nodiscard]] std::optional<Evidence> evidenceFor(const Op& op) const {
        const bool sure = op.confidence >= leastConfidence && op.confidence <= 1;
        if (!sure || op.entry < 1 || std::cmp_greater(op.entry, sources_.size()))
            return std::nullopt;
        const auto entry = static_cast<std::size_t>(op.entry - 1);
        const auto& source = sources_[entry];
        const auto quote = quoteOf(op);
        const auto passage = passageWith(quote, source.text);
        if (passage.empty() || !trusted_[entry])
            return std::nullopt;
        return Evidence{&source, quote, passage};
    }

    Outcome add(const Op& op, const Evidence& evidence) {
        const auto title = oneLine(op.title, longestTitle);
        const auto takeaway = oneLine(op.takeaway, longestTakeaway);
        if (title.empty() || takeaway.empty())
            return Outcome::leftOut;
        const auto category = categoryOf(op);
        if (!category)
            return Outcome::leftOut;
        const auto [found, isNew] =
            titles().emplace(titleKey(*category, title), store_.items.size());
        if (!isNew) {
            auto& item = store_.items[found->second];
            return known_.speaksOf(evidence.passage, item) ? addAgain(item, takeaway, evidence)
                                                           : Outcome::leftOut;
        }
        Item item;
        item.id = freshId_();
        item.category = *category;
        item.title = title;
        item.takeaway = takeaway;
        addExample(item, evidence);
        byId_.emplace(item.id, store_.items.size());
        store_.items.push_back(std::move(item));
        return Outcome::added;
    }

    /// The id of the category that an addition goes to, which is made where it is to be new.
    std::optional<std::string> categoryOf(const Op& op) {
        const bool wantsNew = op.category == newCategory;
        const auto name = wantsNew ? oneLine(op.newName, longestCategoryName) : op.category;
        if (name.empty())
            return std::nullopt;
        if (const auto* category = store_.category(name))
            return category->id;
        if (!wantsNew || newCategories_.size() >= mostNewCategories)
            return std::nullopt;
        store_.categories.push_back({freshId_(), name, oneLine(op.newAbout, longestAbout)});
        newCategories_.push_back(name);
        return store_.categories.back().id;
    }

    static std::string titleKey(std::string_view category, std::string_view title) {
        return std::string(category) + '\n' + nameForm(title);
    }

    /// The items by category and title; most replies need this for nothing.
    std::unordered_map<std::string, std::size_t>& titles() {
        if (titles_.empty()) {
            for (std::size_t i = 0; i < store_.items.size(); ++i)
                titles_.emplace(titleKey(store_.items[i].category, store_.items[i].title), i);
        }
        return titles_;
    }

    Knowledge::Store& store_;
    std::span<const Source> sources_;
    const FreshId& freshId_;
    std::vector<bool> trusted_;
    KnownItems known_;
    std::unordered_map<std::string, std::size_t> byId_;
    std::unordered_map<std::string, std::size_t> titles_;
    std::vector<std::string> newCategories_;
};

void count(Applied& applied, Outcome outcome) {
    switch (outcome) {
        case Outcome::leftOut:
            ++applied.leftOut;
            break;
        case Outcome::unchanged:
            break;
        case Outcome::added:
            ++applied.added;
            break;
        case Outcome::enriched:
            ++applied.enriched;
            break;
        case Outcome::revised:
            ++applied.revised;
            break;
    }
}

}  // namespace

Applied& Applied::operator+=(const Applied& other) {
    added += other.added;
    enriched += other.enriched;
    revised += other.revised;
    leftOut += other.leftOut;
    addedCategories.insert(addedCategories.end(), other.addedCategories.begin(),
                           other.addedCategories.end());
    return *this;
}

Applied apply(Knowledge::Store& store, std::span<const Op> ops, std::span<const Source> sources,
              const FreshId& freshId) {
    Application application(store, sources, freshId);
    Applied applied;
    std::vector<const Op*> taken;
    for (const auto& op : ops) {
        const bool repeated =
            std::ranges::any_of(taken, [&](const Op* earlier) { return *earlier == op; });
        if (repeated)
            continue;
        const auto outcome = application.apply(op);
        count(applied, outcome);
        if (outcome != Outcome::leftOut)
            taken.push_back(&op);
    }
    applied.addedCategories = application.newCategories();
    return applied;
}

}  // namespace quillet::KnowledgeDistiller
