#pragma once

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "memory/NightlyReview.h"
#include "refine/JsonReply.h"

namespace quillet::NightlyReview {

// How the files of cases write things.

inline std::vector<VocabEntry> pairsOf(const nlohmann::json& record) {
    std::vector<VocabEntry> pairs;
    for (const auto& pair : record.value("vocabulary", nlohmann::json::array()))
        pairs.push_back({pair.at(0), pair.at(1), 1, ""});
    return pairs;
}

inline Memory memoryOf(const nlohmann::json& record, const char* name) {
    const auto memory = record.value(name, nlohmann::json::object());
    return {textOf(memory, "profile"), textsOf(memory, "terms")};
}

/// Entries get the ids "e1", "e2"…; what was sent is what was heard where nothing else is said.
inline std::vector<Entry> entriesOf(const nlohmann::json& record) {
    std::vector<Entry> entries;
    for (const auto& row : record.at("entries")) {
        Entry entry;
        entry.id = fmt::format("e{}", entries.size() + 1);
        entry.time = Calendar::UnixTime(std::chrono::duration<double>(row.value("time", 0.0)));
        entry.heard = row.at("heard");
        entry.sent = row.value("sent", entry.heard);
        if (row.contains("app"))
            entry.app = row.at("app").get<std::string>();
        if (row.contains("again"))
            entry.again = row.at("again").get<std::string>();
        entries.push_back(std::move(entry));
    }
    return entries;
}

}  // namespace quillet::NightlyReview
