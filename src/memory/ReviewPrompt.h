#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "memory/NightlyReview.h"

/// What the model is asked at night, and how its replies are read. Pure; nothing is sent.
namespace quillet::NightlyReview {

inline constexpr std::size_t mostEntriesInBatch = 60;
inline constexpr std::size_t mostCharactersInBatch = 12'000;
/// Pairs of the vocabulary that a prompt shows: the first ones given.
inline constexpr std::size_t mostPairsInPrompt = 300;

/// The number of entries at the begin of `entries` that make up the next batch: as many as fit, and
/// at least one.
[[nodiscard]] std::size_t batchSize(std::span<const Entry> entries);

/// A chat body that has one batch judged. Entries are numbered from 1.
[[nodiscard]] nlohmann::json reviewRequest(std::string_view model, const Memory& memory,
                                           std::span<const VocabEntry> vocabulary,
                                           std::span<const Entry> batch, const Calendar& calendar);

struct Reply {
    std::vector<Term> terms;
    std::vector<Fix> fixes;
    std::optional<Memory> memory;
};
/// None when the reply holds no JSON object. Parts of another type than asked for are left out, and
/// so is a memory that lacks its profile or its terms; a number of an entry that is none becomes 0.
[[nodiscard]] std::optional<Reply> readReply(std::string_view reply);

/// A chat body that has the vocabulary itself looked through. Pairs are numbered from 1.
[[nodiscard]] nlohmann::json cleanUpRequest(std::string_view model,
                                            std::span<const VocabEntry> vocabulary,
                                            std::span<const std::string> terms);

struct CleanUp {
    std::vector<std::size_t> remove;  ///< indexes of pairs, from 0, each once
    std::vector<std::string> dropTerms;
};
/// What a reply names of what was shown of so many pairs; numbers out of range are left out. None
/// when the reply holds no JSON object, or when it would remove more than `largestCleanUp` allows.
[[nodiscard]] std::optional<CleanUp> readCleanUp(std::string_view reply, std::size_t pairs,
                                                 std::span<const std::string> terms);
/// A reply that wants more than this many of so many pairs removed is not believed: a third, but
/// any ten may go.
[[nodiscard]] std::size_t largestCleanUp(std::size_t pairs);

}  // namespace quillet::NightlyReview
