#include "memory/NightReport.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/text/Translation.h"

namespace quillet {

namespace {

using nlohmann::json;

/// Texts in one of both languages.
class Words {
public:
    explicit Words(ReportLanguage language) : isEnglish_(language == ReportLanguage::english) {}

    template <class... Arguments>
    [[nodiscard]] std::string label(std::string_view english, const Arguments&... arguments) const {
        const auto format = isEnglish_ ? std::string(english) : translated(english);
        return fmt::format(fmt::runtime(format), arguments...);
    }
    /// With the count first.
    template <class... Arguments>
    [[nodiscard]] std::string counted(std::string_view singular, std::string_view plural, int count,
                                      const Arguments&... arguments) const {
        const auto format = isEnglish_ ? std::string(count == 1 ? singular : plural)
                                       : translated(singular, plural, count);
        return fmt::format(fmt::runtime(format), count, arguments...);
    }

private:
    bool isEnglish_;
};

int countIn(const json& record, const char* name) {
    const auto value = record.value(name, json());
    return value.is_number_integer() ? std::max(value.get<int>(), 0) : 0;
}

}  // namespace

std::string worded(const ReviewCounts& counts, ReportLanguage language) {
    const Words words(language);
    auto text = words.counted("{} dictation read: {} learned, {} waiting for you.",
                              "{} dictations read: {} learned, {} waiting for you.",
                              counts.reviewed, counts.learned, counts.asked);
    if (counts.failedParts > 0)
        text = words.label("{} {}", text,
                           words.counted("{} part got no usable answer.",
                                         "{} parts got no usable answer.", counts.failedParts));
    if (!counts.removed.empty())
        text += '\n' + words.label("Removed from the vocabulary: {}",
                                   fmt::format("{}", fmt::join(counts.removed, ", ")));
    if (counts.isLeft)
        text += '\n' + words.label(
                           "The vocabulary could not be changed everywhere; the rest is "
                           "done at the next start.");
    return text;
}

std::string worded(const KnowledgeCounts& counts, ReportLanguage language) {
    const Words words(language);
    auto text = words.label("Nothing new to file.");
    if (counts.added + counts.changed > 0)
        text = words.label("{} added, {} added to or revised.",
                           words.counted("{} new item", "{} new items", counts.added),
                           words.counted("{} item", "{} items", counts.changed));
    if (counts.leftOut > 0)
        text = words.label(
            "{} {}", text,
            words.counted("{} operation left out, for nothing bears them out.",
                          "{} operations left out, for nothing bears them out.", counts.leftOut));
    if (counts.unreadable > 0)
        text = words.label("{} {}", text,
                           words.counted("For one entry there was no reply that could be read.",
                                         "For {} entries there was no reply that could be read.",
                                         counts.unreadable));
    return counts.backlog ? words.label("{} — the rest next time", text) : text;
}

std::string shownReport(std::string_view text) {
    std::string shown;
    while (true) {
        const auto end = text.find('\n');
        shown += translated(text.substr(0, end));
        if (end == std::string_view::npos)
            return shown;
        shown += '\n';
        text.remove_prefix(end + 1);
    }
}

// --- How they are stored ---

json encode(const ReviewCounts& counts) {
    return {{"reviewed", counts.reviewed}, {"learned", counts.learned},
            {"asked", counts.asked},       {"failedParts", counts.failedParts},
            {"removed", counts.removed},   {"left", counts.isLeft}};
}

json encode(const KnowledgeCounts& counts) {
    return {{"added", counts.added},
            {"changed", counts.changed},
            {"leftOut", counts.leftOut},
            {"unreadable", counts.unreadable},
            {"backlog", counts.backlog}};
}

std::optional<ReviewCounts> decodeReviewCounts(const json& record) {
    if (!record.is_object())
        return std::nullopt;
    ReviewCounts counts{countIn(record, "reviewed"),
                        countIn(record, "learned"),
                        countIn(record, "asked"),
                        countIn(record, "failedParts"),
                        {},
                        record.value("left", json()) == true};
    for (const auto& pair : record.value("removed", json::array())) {
        if (pair.is_string())
            counts.removed.push_back(pair.get<std::string>());
    }
    return counts;
}

std::optional<KnowledgeCounts> decodeKnowledgeCounts(const json& record) {
    if (!record.is_object())
        return std::nullopt;
    return KnowledgeCounts{countIn(record, "added"), countIn(record, "changed"),
                           countIn(record, "leftOut"), countIn(record, "unreadable"),
                           record.value("backlog", json()) == true};
}

}  // namespace quillet
