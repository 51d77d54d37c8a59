#include "store/VocabularyFile.h"

#include <nlohmann/json.hpp>

#include "base/text/Text.h"

namespace quillet {

namespace {

using nlohmann::json;

/// What one element of a file says of a pair; none when it is none that could be used.
std::optional<VocabularyDB::SyncEntry> entryOf(const json& element, double now) {
    const auto text = [&element](const char* name) {
        const auto found = element.find(name);
        return found != element.end() && found->is_string() ? found->get<std::string>()
                                                            : std::string();
    };
    if (!element.is_object())
        return std::nullopt;
    VocabularyDB::SyncEntry entry;
    entry.original = trimmed(text("original"));
    entry.corrected = trimmed(text("corrected"));
    if (!fitsTheTable(entry.original, entry.corrected))
        return std::nullopt;
    if (element.contains("frequency") && element["frequency"].is_number_integer())
        entry.frequency = std::max<std::int64_t>(1, element["frequency"].get<std::int64_t>());
    if (element.contains("learnedAt") && element["learnedAt"].is_number())
        entry.learnedAt = element["learnedAt"].get<double>();
    else
        entry.learnedAt = now;
    entry.source = text("source");
    if (entry.source->empty())
        entry.source = std::string(vocabulary_source::manual);
    return entry;
}

void add(VocabularyFile& file, std::optional<VocabularyDB::SyncEntry> entry) {
    if (entry)
        file.entries.push_back(std::move(*entry));
    else
        ++file.leftOut;
}

}  // namespace

std::optional<VocabularyFile> decodeVocabulary(const json& content, Calendar::UnixTime now) {
    const double learnedAt = now.time_since_epoch().count();
    VocabularyFile file;
    if (content.is_array()) {
        for (const auto& element : content)
            add(file, entryOf(element, learnedAt));
    } else if (content.is_object()) {
        for (const auto& [original, corrected] : content.items())
            add(file, corrected.is_string()
                          ? entryOf({{"original", original}, {"corrected", corrected}}, learnedAt)
                          : std::nullopt);
    } else {
        return std::nullopt;
    }
    return file;
}

json encodeVocabulary(const std::vector<VocabularyDB::SyncEntry>& entries) {
    json all = json::array();
    for (const auto& entry : entries)
        all.push_back({{"original", entry.original},
                       {"corrected", entry.corrected},
                       {"frequency", entry.frequency},
                       {"learnedAt", entry.learnedAt},
                       {"source", entry.source.value_or("")}});
    return all;
}

}  // namespace quillet
