#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"
#include "memory/KnowledgeDistiller.h"
#include "memory/StoredTime.h"

namespace quillet::KnowledgeDistiller {

namespace {

using nlohmann::json;
using MaybeTime = std::optional<Calendar::UnixTime>;

/// Visits the named values of an object that an object holds.
template <class Visit>
void eachNamed(const json& record, std::string_view name, Visit visit) {
    const auto found = record.find(name);
    if (found == record.end() || !found->is_object())
        return;
    for (const auto& [key, value] : found->items())
        visit(key, value);
}

std::optional<MeetingParts> decodeParts(const json& record) {
    const auto modified = timeOf(record, "modified");
    const auto read = record.find("read");
    if (!modified || read == record.end() || !read->is_number_integer())
        return std::nullopt;
    const auto parts = read->get<std::int64_t>();
    if (parts < 1 || parts > std::numeric_limits<int>::max())
        return std::nullopt;
    return MeetingParts{*modified, static_cast<int>(parts)};
}

void advanceTo(MaybeTime& readUpTo, Calendar::UnixTime time) {
    readUpTo = std::max(readUpTo.value_or(time), time);
}

void advance(Cursor& cursor, const FromMeeting& note) {
    if (note.part >= note.total) {
        cursor.meetings[note.name] = note.modified;
        cursor.meetingParts.erase(note.name);
        return;
    }
    auto& parts = cursor.meetingParts[note.name];
    // A note that changed is read again from its begin.
    const bool same = parts.modified == note.modified;
    parts = {note.modified, same ? std::max(parts.read, note.part) : note.part};
}

}  // namespace

json encode(const Cursor& cursor) {
    auto record = json::object();
    if (cursor.readUpTo)
        record["readUpTo"] = secondsOf(*cursor.readUpTo);
    if (cursor.phoneReadUpTo)
        record["phoneReadUpTo"] = secondsOf(*cursor.phoneReadUpTo);
    record["meetings"] = json::object();
    for (const auto& [name, modified] : cursor.meetings)
        record["meetings"][withValidUtf8(name)] = secondsOf(modified);
    record["meetingParts"] = json::object();
    for (const auto& [name, parts] : cursor.meetingParts)
        record["meetingParts"][withValidUtf8(name)] = {{"modified", secondsOf(parts.modified)},
                                                       {"read", parts.read}};
    return record;
}

Cursor decodeCursor(const json& record) {
    Cursor cursor;
    if (!record.is_object())
        return cursor;
    cursor.readUpTo = timeOf(record, "readUpTo");
    cursor.phoneReadUpTo = timeOf(record, "phoneReadUpTo");
    eachNamed(record, "meetings", [&](const std::string& name, const json& modified) {
        if (const auto time = timeOf(modified))
            cursor.meetings[name] = *time;
    });
    eachNamed(record, "meetingParts", [&](const std::string& name, const json& parts) {
        if (const auto decoded = decodeParts(parts))
            cursor.meetingParts[name] = *decoded;
    });
    return cursor;
}

void advance(Cursor& cursor, std::span<const Source> read) {
    for (const auto& source : read) {
        if (const auto* note = std::get_if<FromMeeting>(&source.origin))
            advance(cursor, *note);
        else if (std::holds_alternative<FromPhone>(source.origin))
            advanceTo(cursor.phoneReadUpTo, source.time);
        else
            advanceTo(cursor.readUpTo, source.time);
    }
}

std::size_t batchSize(std::span<const Source> sources) {
    const auto most = std::min(sources.size(), mostEntriesInRequest);
    std::size_t characters = 0;
    for (std::size_t i = 0; i < most; ++i) {
        characters += characterCount(sources[i].text);
        if (characters > mostCharactersInRequest)
            return std::max<std::size_t>(i, 1);
    }
    return most;
}

std::vector<std::string> partsOf(std::string_view note) {
    std::vector<std::string> parts;
    if (trimmedView(note).empty())
        return parts;
    while (!note.empty()) {
        auto part = firstCharacters(note, mostCharactersInPart);
        if (const auto lastBreak = part.rfind('\n');
            part.size() < note.size() && lastBreak != std::string_view::npos)
            part = part.substr(0, lastBreak + 1);
        parts.emplace_back(part);
        note.remove_prefix(part.size());
    }
    return parts;
}

}  // namespace quillet::KnowledgeDistiller
