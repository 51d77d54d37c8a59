#include "memory/Knowledge.h"

#include <algorithm>

#include "base/text/Translation.h"
#include "memory/TextForms.h"

namespace quillet::Knowledge {

namespace {

bool holds(const Item& item, const CaselessWord& word) {
    return word.isIn(item.title) || word.isIn(item.takeaway) ||
           std::ranges::any_of(item.notes, [&](const auto& note) { return word.isIn(note); }) ||
           std::ranges::any_of(item.examples,
                               [&](const auto& one) { return word.isIn(one.quote); });
}

}  // namespace

const Item* Store::item(std::string_view id) const {
    const auto found = std::ranges::find(items, id, &Item::id);
    return found == items.end() ? nullptr : &*found;
}

const Category* Store::category(std::string_view idOrName) const {
    if (const auto byId = std::ranges::find(categories, idOrName, &Category::id);
        byId != categories.end())
        return &*byId;
    const auto form = nameForm(idOrName);
    const auto byName = std::ranges::find_if(categories, [&](const Category& one) {
        return nameForm(one.name) == form || nameForm(one.id) == form;
    });
    return byName == categories.end() ? nullptr : &*byName;
}

const std::vector<Category>& builtInCategories() {
    static const std::vector<Category> categories = {
        {"sales", std::string(toTranslate("Sales & pricing")),
         std::string(toTranslate("Selling techniques, pricing, quotes, discounts, objections and "
                                 "how they were handled."))},
        {"clients", std::string(toTranslate("Clients & people")),
         std::string(toTranslate(
             "Who a client or contact is, what they need or prefer, how to work with them."))},
        {"commitments", std::string(toTranslate("Commitments")),
         std::string(toTranslate(
             "Promises the user made or was promised, and things to do, with who and when."))},
        {"decisions", std::string(toTranslate("Decisions")),
         std::string(toTranslate("What was decided, and why."))},
        {"lessons", std::string(toTranslate("Lessons")),
         std::string(toTranslate("What worked or went wrong, and what to do differently."))},
        {"knowhow", std::string(toTranslate("Know-how / FAQ answers")),
         std::string(
             toTranslate("How the business works; answers the user gives again and again."))},
        {"ideas", std::string(toTranslate("Ideas")),
         std::string(toTranslate("Ideas and plans worth coming back to."))},
    };
    return categories;
}

std::string searchedText(const Item& item) {
    auto text = item.title + '\n' + item.takeaway;
    for (const auto& note : item.notes)
        text += '\n' + note;
    for (const auto& example : item.examples)
        text += '\n' + example.quote;
    return text;
}

std::vector<const Item*> search(const Store& store, std::span<const CaselessWord> words) {
    std::vector<const Item*> found;
    if (words.empty())
        return found;
    for (const auto& item : store.items) {
        if (std::ranges::all_of(words, [&](const auto& word) { return holds(item, word); }))
            found.push_back(&item);
    }
    std::ranges::sort(found, [](const Item* a, const Item* b) {
        // In their order in the store where they were seen at the same time.
        return a->lastSeen != b->lastSeen ? a->lastSeen > b->lastSeen : a < b;
    });
    return found;
}

}  // namespace quillet::Knowledge
