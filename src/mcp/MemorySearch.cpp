#include "mcp/MemorySearch.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/text/OneLine.h"
#include "base/text/Text.h"
#include "meetings/MeetingNote.h"

namespace quillet {

namespace {

constexpr std::size_t charactersAround = 80;
/// So many bytes hold that many characters, but for such as are made up.
constexpr std::size_t bytesAround = 4'096;
/// "2026-11-21 14.30 "
constexpr std::size_t dateInNoteName = 17;

std::vector<CaselessWord> caseless(const MemoryQuery& query) {
    return {query.words.begin(), query.words.end()};
}

bool holdsAll(std::string_view text, std::span<const CaselessWord> words) {
    return std::ranges::all_of(words, [text](const auto& word) { return word.isIn(text); });
}

CaselessWord::Place firstPlace(std::string_view text, std::span<const CaselessWord> words) {
    std::optional<CaselessWord::Place> first;
    for (const auto& word : words) {
        const auto place = word.findIn(text);
        if (place && (!first || place->begin < first->begin))
            first = place;
    }
    return first.value_or(CaselessWord::Place());
}

std::string titleOf(const std::string& noteName, bool isDated) {
    const auto stem = noteName.substr(0, noteName.rfind('.'));
    return isDated && stem.size() > dateInNoteName ? stem.substr(dateInNoteName) : stem;
}

/// The latest example from the application, or from any where none is named.
const Knowledge::Example* exampleFrom(const Knowledge::Item& item, const std::string& app) {
    const Knowledge::Example* latest = nullptr;
    for (const auto& one : item.examples) {
        const bool isFrom = one.bundleID && (app.empty() || caseFolded(*one.bundleID) == app ||
                                             caseFolded(one.source) == app);
        if (isFrom && (latest == nullptr || one.date >= latest->date))
            latest = &one;
    }
    return latest;
}

}  // namespace

std::vector<std::string_view> memoryKindNames() {
    std::vector<std::string_view> names;
    for (const auto kind :
         {MemoryKind::dictation, MemoryKind::live, MemoryKind::meeting, MemoryKind::knowledge})
        names.push_back(nameOf(kind));
    return names;
}

std::string_view nameOf(MemoryKind kind) {
    switch (kind) {
        case MemoryKind::dictation:
            return "dictation";
        case MemoryKind::live:
            return "live";
        case MemoryKind::meeting:
            return "meeting";
        case MemoryKind::knowledge:
            return "knowledge";
    }
    return {};
}

bool MemoryQuery::wants(MemoryKind kind) const {
    return kinds.empty() || std::ranges::find(kinds, nameOf(kind)) != kinds.end();
}

bool MemoryQuery::covers(Calendar::UnixTime time) const {
    constexpr std::chrono::milliseconds rounding(1);
    return (!since || time - *since > rounding) && (!until || time < *until);
}

SessionStore::Filter historyFilter(const MemoryQuery& query) {
    SessionStore::Filter filter;
    filter.words = query.words;
    if (!query.app.empty())
        filter.application = query.app;
    filter.after = query.since;
    if (query.until)  // the very moment is no longer before it
        filter.until = Calendar::UnixTime(Calendar::UnixTime::duration(std::nextafter(
            query.until->time_since_epoch().count(), -std::numeric_limits<double>::infinity())));
    if (!query.wants(MemoryKind::live))
        filter.kinds = {EntryKind::dictation};
    else if (!query.wants(MemoryKind::dictation))
        filter.kinds = {EntryKind::live};
    filter.limit = static_cast<int>(query.limit);
    return filter;
}

MemoryHit hitOf(const TranscriptEntry& entry, std::span<const CaselessWord> words) {
    const auto isIn = [&words](std::string_view text) {
        return std::ranges::any_of(words, [text](const auto& word) { return word.isIn(text); });
    };
    MemoryHit hit;
    hit.kind = entry.kind == EntryKind::live ? MemoryKind::live : MemoryKind::dictation;
    hit.id = entry.id;
    hit.time = entry.timestamp;
    hit.app = entry.appName.value_or("");
    hit.snippet = snippetOf(isIn(entry.finalText) ? entry.finalText : entry.rawText, words);
    return hit;
}

NoteSearch::NoteSearch(const MemoryQuery& query, const Calendar& calendar)
    : query_(query), calendar_(calendar), words_(caseless(query)) {}

void NoteSearch::look(const MeetingLibrary::Entry& note, const MeetingLibrary::Content& content) {
    const auto began = timeOfNote(note.name, calendar_);
    const auto time = began.value_or(note.modified);
    if (!query_.covers(time))
        return;
    const auto text = content();
    if (holdsAll(text, words_))
        hits_.push_back({MemoryKind::meeting,
                         note.name,
                         time,
                         {},
                         titleOf(note.name, began.has_value()),
                         snippetOf(text, words_)});
}

std::vector<MemoryHit> searchKnowledge(const Knowledge::Store& store, const MemoryQuery& query) {
    const auto app = caseFolded(query.app);
    const auto words = caseless(query);
    std::vector<MemoryHit> hits;
    for (const auto* item : Knowledge::search(store, words)) {
        if (hits.size() == query.limit)
            break;
        const auto* example = exampleFrom(*item, app);
        if (!query.covers(item->lastSeen) || (!app.empty() && example == nullptr))
            continue;
        hits.push_back({MemoryKind::knowledge, item->id, item->lastSeen,
                        example == nullptr ? std::string() : example->source, item->title,
                        snippetOf(Knowledge::searchedText(*item), words)});
    }
    return hits;
}

std::string snippetOf(std::string_view text, std::span<const CaselessWord> words) {
    const auto place = firstPlace(text, words);
    const auto isLead = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; };
    // Only what is near is looked at: notes are long.
    auto begin = place.begin - std::min(place.begin, bytesAround);
    while (begin < place.begin && !isLead(text[begin]))
        ++begin;
    auto end = std::min(place.end + bytesAround, text.size());
    while (end > place.end && end < text.size() && !isLead(text[end]))
        --end;
    const auto before = lastCharacters(text.substr(begin, place.begin - begin), charactersAround);
    const auto after = firstCharacters(text.substr(place.end, end - place.end), charactersAround);
    const auto* const from = before.data();
    const auto size = before.size() + (place.end - place.begin) + after.size();
    const bool isCutBefore = from != text.data();
    const bool isCutAfter = from + size != text.data() + text.size();
    return (isCutBefore ? "…" : "") + oneLine(withValidUtf8({from, size})) +
           (isCutAfter ? "…" : "");
}

}  // namespace quillet
