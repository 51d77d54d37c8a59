#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a night's work says of itself is kept as an English text, which commands and AI clients are
/// told, and as what that text counts, for windows to word in the user's language.
namespace quillet {

struct ReviewCounts {
    int reviewed = 0;  ///< dictations
    int learned = 0;
    int asked = 0;
    int failedParts = 0;
    std::vector<std::string> removed;  ///< from the vocabulary: "heard → written"
    bool isLeft = false;               ///< the vocabulary could not be changed everywhere
    friend bool operator==(const ReviewCounts&, const ReviewCounts&) = default;
};

struct KnowledgeCounts {
    int added = 0;
    int changed = 0;
    int leftOut = 0;     ///< operations that nothing bears out
    int unreadable = 0;  ///< entries without a usable reply
    bool backlog = false;
    friend bool operator==(const KnowledgeCounts&, const KnowledgeCounts&) = default;
};

enum class ReportLanguage { english, users };
[[nodiscard]] std::string worded(const ReviewCounts& counts, ReportLanguage language);
[[nodiscard]] std::string worded(const KnowledgeCounts& counts, ReportLanguage language);

[[nodiscard]] nlohmann::json encode(const ReviewCounts& counts);
[[nodiscard]] nlohmann::json encode(const KnowledgeCounts& counts);
/// None where the record does not hold them.
[[nodiscard]] std::optional<ReviewCounts> decodeReviewCounts(const nlohmann::json& record);
[[nodiscard]] std::optional<KnowledgeCounts> decodeKnowledgeCounts(const nlohmann::json& record);

/// A report that counts nothing, or that an older version kept, in the user's language as far as
/// its lines are known.
[[nodiscard]] std::string shownReport(std::string_view text);
/// How the last attempt went, as a window shows it; empty where there was none.
template <class State>
[[nodiscard]] std::string shownReport(const State& state) {
    if (state.counts)
        return worded(*state.counts, ReportLanguage::users);
    return state.report ? shownReport(std::string_view(*state.report)) : std::string();
}

}  // namespace quillet
