#include "memory/ItemChange.h"

#include <algorithm>
#include <utility>

#include "base/text/Text.h"
#include "memory/TextForms.h"

namespace quillet::KnowledgeDistiller {

using Knowledge::Item;

namespace {

// In characters.
constexpr std::size_t longestNote = 400;
constexpr std::size_t longestQuote = 400;

bool addNote(Item& item, std::string_view text) {
    auto note = oneLine(text, longestNote);
    if (note.empty() || std::ranges::find(item.notes, note) != item.notes.end())
        return false;
    item.notes.push_back(std::move(note));
    return true;
}

}  // namespace

bool addExample(Item& item, const Evidence& evidence) {
    const auto date = evidence.source->time;
    auto quote = trimmed(firstCharacters(evidence.quote, longestQuote));
    const bool known = std::ranges::any_of(item.examples, [&](const Knowledge::Example& one) {
        return one.date == date && one.quote == quote;
    });
    if (known)
        return false;
    item.firstSeen = item.mentions == 0 ? date : std::min(item.firstSeen, date);
    item.lastSeen = item.mentions == 0 ? date : std::max(item.lastSeen, date);
    ++item.mentions;
    auto bundleID = evidence.source->bundleID;
    if (bundleID)
        bundleID = withValidUtf8(*bundleID);
    item.examples.push_back(
        {std::move(quote), date, withValidUtf8(evidence.source->label), std::move(bundleID)});
    return true;
}

Outcome enrich(Item& item, const Op& op, const Evidence& evidence) {
    bool changed = addExample(item, evidence);
    changed = addNote(item, op.note) || changed;
    auto takeaway = oneLine(op.takeaway, longestTakeaway);
    if (!takeaway.empty() && takeaway != item.takeaway) {
        item.takeaway = std::move(takeaway);
        changed = true;
    }
    return changed ? Outcome::enriched : Outcome::unchanged;
}

Outcome revise(Item& item, const Op& op, const Evidence& evidence) {
    auto takeaway = oneLine(op.takeaway, longestTakeaway);
    auto reason = oneLine(op.reason, longestNote);
    if (takeaway.empty() || reason.empty())
        return Outcome::leftOut;
    const bool seen = addExample(item, evidence);
    if (takeaway == item.takeaway)
        return seen ? Outcome::enriched : Outcome::unchanged;
    item.superseded.push_back({std::exchange(item.takeaway, std::move(takeaway)),
                               evidence.source->time, std::move(reason)});
    return Outcome::revised;
}

Outcome addAgain(Item& item, std::string_view takeaway, const Evidence& evidence) {
    bool changed = addExample(item, evidence);
    if (takeaway != item.takeaway)
        changed = addNote(item, takeaway) || changed;
    return changed ? Outcome::enriched : Outcome::unchanged;
}

}  // namespace quillet::KnowledgeDistiller
