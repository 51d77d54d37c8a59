#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

#include "platform/Calendar.h"
#include "store/VocabularyDB.h"

namespace quillet {

/// What a file of pairs holds.
struct VocabularyFile {
    std::vector<VocabularyDB::SyncEntry> entries;
    std::size_t leftOut = 0;  ///< pairs that the vocabulary would not keep
};

/// Reads the list that `encodeVocabulary` writes, or an object of originals and corrected forms.
/// None for any other content. Pairs that do not tell when they were learned were learned `now`.
[[nodiscard]] std::optional<VocabularyFile> decodeVocabulary(const nlohmann::json& content,
                                                             Calendar::UnixTime now);
[[nodiscard]] nlohmann::json encodeVocabulary(const std::vector<VocabularyDB::SyncEntry>& entries);

}  // namespace quillet
