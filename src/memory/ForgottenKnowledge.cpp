#include "memory/ForgottenKnowledge.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace quillet {

bool DeletedDictations::hasID(std::string_view id) const {
    return !id.empty() &&
           (all || std::ranges::find(entries, id, &TranscriptEntry::id) != entries.end());
}

namespace Knowledge {

namespace {

/// Times are stored as decimal numbers.
std::int64_t milliseconds(Calendar::UnixTime time) {
    return std::llround(time.time_since_epoch().count() * 1000);
}

/// Tells quotes of deleted dictations, of which only time and application are known.
class Quotes {
public:
    explicit Quotes(const DeletedDictations& deleted) : all_(deleted.all) {
        for (const auto& entry : deleted.entries)
            said_.emplace(milliseconds(entry.timestamp), entry.appBundleID);
    }

    [[nodiscard]] bool have(const Example& example) const {
        const bool isDictation = example.bundleID || example.source == dictationLabel;
        return isDictation &&
               (all_ || said_.contains({milliseconds(example.date), example.bundleID}));
    }

private:
    bool all_;
    std::set<std::pair<std::int64_t, std::optional<std::string>>> said_;
};

void followExamples(Item& item, int change) {
    item.mentions = std::max(item.mentions + change, static_cast<int>(item.examples.size()));
    if (item.examples.empty())
        return;
    const auto [first, last] = std::ranges::minmax(item.examples, {}, &Example::date);
    item.firstSeen = first.date;
    item.lastSeen = last.date;
}

void putBack(Item& item, const Item& before) {
    int added = 0;
    for (const auto& example : before.examples) {
        const auto isSame = [&example](const Example& one) {
            return one.date == example.date && one.quote == example.quote;
        };
        if (std::ranges::any_of(item.examples, isSame))
            continue;
        item.examples.insert(
            std::ranges::upper_bound(item.examples, example.date, {}, &Example::date), example);
        ++added;
    }
    followExamples(item, added);
}

}  // namespace

Forgotten forget(Store& store, const DeletedDictations& deleted) {
    const Quotes quotes(deleted);
    Forgotten forgotten;
    const auto isQuoted = [&quotes](const Example& example) { return quotes.have(example); };
    for (auto& item : store.items) {
        if (!std::ranges::any_of(item.examples, isQuoted))
            continue;
        forgotten.items.push_back(item);
        const auto count = std::erase_if(item.examples, isQuoted);
        followExamples(item, -static_cast<int>(count));
    }
    std::set<std::string_view> touched;
    for (const auto& item : forgotten.items)
        touched.insert(item.id);
    std::erase_if(store.items, [&touched](const Item& item) {
        return item.examples.empty() && touched.contains(item.id);
    });
    return forgotten;
}

void restore(Store& store, const Forgotten& forgotten) {
    for (const auto& before : forgotten.items) {
        const auto item = std::ranges::find(store.items, before.id, &Item::id);
        if (item != store.items.end())
            putBack(*item, before);
        else if (store.category(before.category) != nullptr)
            store.items.push_back(before);
    }
}

}  // namespace Knowledge

}  // namespace quillet
