#pragma once

#include <string_view>

namespace quillet {

/// What belongs between two pieces of text that were spoken one after the other: a blank between
/// letters or digits of scripts that are written with blanks, also after a mark of theirs ("the
/// first part. And the second"); nothing beside Chinese or Japanese characters and marks.
[[nodiscard]] std::string_view gapBetween(std::string_view before, std::string_view after);

}  // namespace quillet
