#include "memory/NightlyReview.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "refine/JsonReply.h"

namespace quillet::NightlyReview {

namespace {

using nlohmann::json;
using Date = Calendar::UnixTime;

constexpr std::pair<Kind, std::string_view> kinds[] = {
    {Kind::term, "term"},
    {Kind::fix, "fix"},
};
constexpr std::pair<Status, std::string_view> statuses[] = {
    {Status::pending, "pending"},
    {Status::learned, "learned"},
    {Status::accepted, "accepted"},
    {Status::dismissed, "dismissed"},
};

template <class Value, std::size_t size>
std::string_view nameIn(const std::pair<Value, std::string_view> (&words)[size], Value value) {
    for (const auto& [known, name] : words) {
        if (known == value)
            return name;
    }
    return {};
}

template <class Value, std::size_t size>
std::optional<Value> valueIn(const std::pair<Value, std::string_view> (&words)[size],
                             std::string_view name) {
    for (const auto& [value, known] : words) {
        if (known == name)
            return value;
    }
    return std::nullopt;
}

double secondsOf(Date date) {
    return date.time_since_epoch().count();
}

/// None for what no calendar shows.
std::optional<Date> dateOf(const json& object, std::string_view name) {
    constexpr double farthest = 1e11;
    const auto found = object.find(name);
    if (found == object.end() || !found->is_number() || std::abs(found->get<double>()) > farthest)
        return std::nullopt;
    return Date(Date::duration(found->get<double>()));
}

int countOf(const json& object, std::string_view name, int otherwise) {
    const auto found = object.find(name);
    if (found == object.end() || !found->is_number_integer())
        return otherwise;
    const auto count = found->get<double>();
    const bool fits = count >= 0 && count <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(count) : otherwise;
}

json encode(const Memory& memory) {
    return {{"profile", memory.profile}, {"terms", memory.terms}};
}

Memory decodeMemory(const json& object, std::string_view name) {
    const auto found = object.find(name);
    if (found == object.end())
        return {};
    return {textOf(*found, "profile"), textsOf(*found, "terms")};
}

json encode(const Suggestion& suggestion) {
    return {{"id", suggestion.id},
            {"kind", storedName(suggestion.kind)},
            {"heard", suggestion.heard},
            {"written", suggestion.written},
            {"reason", suggestion.reason},
            {"date", secondsOf(suggestion.date)},
            {"status", storedName(suggestion.status)},
            {"entries", suggestion.entries}};
}

/// None for one that nobody could settle.
std::optional<Suggestion> decodeSuggestion(const json& object) {
    const auto kind = valueIn(kinds, textOf(object, "kind"));
    const auto status = valueIn(statuses, textOf(object, "status"));
    auto id = textOf(object, "id");
    if (!kind || !status || id.empty())
        return std::nullopt;
    return Suggestion{std::move(id),
                      *kind,
                      textOf(object, "heard"),
                      textOf(object, "written"),
                      textOf(object, "reason"),
                      dateOf(object, "date").value_or(Date()),
                      *status,
                      textsOf(object, "entries")};
}

json encode(const VocabEntry& pair) {
    return {{"original", pair.original},
            {"corrected", pair.corrected},
            {"frequency", pair.frequency},
            {"source", pair.source}};
}

std::optional<VocabEntry> decodePair(const json& object) {
    VocabEntry pair{textOf(object, "original"), textOf(object, "corrected"),
                    countOf(object, "frequency", 1), textOf(object, "source")};
    if (pair.original.empty() || pair.corrected.empty())
        return std::nullopt;
    return pair;
}

json encode(const Run& run);

template <class Row>
json encodeList(const std::vector<Row>& rows) {
    auto list = json::array();
    for (const auto& row : rows)
        list.push_back(encode(row));
    return list;
}

/// Those elements of a list that can be read.
template <class Row>
std::vector<Row> decodeList(const json& object, std::string_view name,
                            std::optional<Row> (*decode)(const json&)) {
    std::vector<Row> rows;
    const auto* list = listOf(object, name);
    if (list == nullptr)
        return rows;
    for (const auto& element : *list) {
        if (auto row = decode(element))
            rows.push_back(std::move(*row));
    }
    return rows;
}

json encode(const Run& run) {
    return {{"date", secondsOf(run.date)},
            {"reviewed", run.reviewed},
            {"fromPhone", run.fromPhone},
            {"found", encodeList(run.found)},
            {"memoryBefore", encode(run.memoryBefore)},
            {"memoryAfter", encode(run.memoryAfter)},
            {"failedParts", run.failedParts},
            {"removed", encodeList(run.removed)},
            {"undone", run.undone}};
}

std::optional<Run> decodeRun(const json& object) {
    if (!object.is_object())
        return std::nullopt;
    return Run{
        dateOf(object, "date").value_or(Date()), countOf(object, "reviewed", 0),
        countOf(object, "fromPhone", 0),         decodeList(object, "found", decodeSuggestion),
        decodeMemory(object, "memoryBefore"),    decodeMemory(object, "memoryAfter"),
        countOf(object, "failedParts", 0),       decodeList(object, "removed", decodePair),
        object.value("undone", json()) == true};
}

}  // namespace

std::string_view storedName(Kind kind) {
    return nameIn(kinds, kind);
}

std::string_view storedName(Status status) {
    return nameIn(statuses, status);
}

json encode(const State& state) {
    json record = {{"suggestions", encodeList(state.suggestions)},
                   {"memory", encode(state.memory)},
                   {"runs", encodeList(state.runs)}};
    if (state.lastRun)
        record["lastRun"] = secondsOf(*state.lastRun);
    if (state.report)
        record["report"] = *state.report;
    if (state.counts)
        record["reportCounts"] = encode(*state.counts);
    if (state.phoneReviewedUpTo)
        record["phoneReviewedUpTo"] = secondsOf(*state.phoneReviewedUpTo);
    return record;
}

std::optional<State> decodeState(const json& record) {
    if (!record.is_object())
        return std::nullopt;
    State state;
    state.lastRun = dateOf(record, "lastRun");
    if (auto report = textOf(record, "report"); !report.empty())
        state.report = std::move(report);
    if (state.report)
        state.counts = decodeReviewCounts(record.value("reportCounts", json()));
    state.suggestions = decodeList(record, "suggestions", decodeSuggestion);
    state.memory = decodeMemory(record, "memory");
    state.phoneReviewedUpTo = dateOf(record, "phoneReviewedUpTo");
    state.runs = decodeList(record, "runs", decodeRun);
    return state;
}

}  // namespace quillet::NightlyReview
