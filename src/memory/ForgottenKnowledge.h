#pragma once

#include <vector>

#include "memory/DeletedDictations.h"
#include "memory/Knowledge.h"

namespace quillet::Knowledge {

/// The label of a quote from a dictation into no application.
inline constexpr std::string_view dictationLabel = "Dictation";

/// Items as they were before quotes were taken out of them.
struct Forgotten {
    std::vector<Item> items;
    bool isWritten = true;  ///< they are gone from the disk as well
};

/// Takes out what was quoted from dictations that are deleted, and the items that nothing else
/// bears out.
Forgotten forget(Store& store, const DeletedDictations& deleted);
/// Puts quotes and items back; what changed in the meantime stays.
void restore(Store& store, const Forgotten& forgotten);

}  // namespace quillet::Knowledge
