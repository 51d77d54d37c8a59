#pragma once

#include <string_view>

namespace quillet::ReviewTexts {

// The fixed texts of the nightly review, word for word, in the order in which they are joined.

extern const std::string_view judgeDay;      ///< the number of characters follows
extern const std::string_view profileLimit;  ///< the number of terms follows
extern const std::string_view termLimit;     ///< the current memory follows
extern const std::string_view vocabulary;    ///< pairs follow, each on a line of its own
extern const std::string_view judgeReply;

extern const std::string_view cleanUp;       ///< the numbered pairs follow
extern const std::string_view cleanUpTerms;  ///< the terms follow
extern const std::string_view cleanUpReply;

}  // namespace quillet::ReviewTexts
