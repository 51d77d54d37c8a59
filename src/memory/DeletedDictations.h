#pragma once

#include <vector>

#include "store/TranscriptEntry.h"

namespace quillet {

/// Dictations that the user deleted. What was made of them is to go as well.
struct DeletedDictations {
    bool all = false;                      ///< every dictation of this machine that there ever was
    std::vector<TranscriptEntry> entries;  ///< otherwise these

    [[nodiscard]] bool hasID(std::string_view id) const;
};

}  // namespace quillet
