#pragma once

#include <array>
#include <string_view>

namespace quillet::PromptTexts {

// The fixed texts that language models are instructed with, word for word. Those that others are
// appended to end with the blank or the list mark that the next one continues.

extern const std::string_view smart;             ///< ends with the number of its next rule
extern const std::string_view polish;            ///< ends with the mark of its next item
extern const std::string_view backgroundVoices;  ///< one rule or item of smart, polish, translation
extern const std::string_view never;             ///< ends the smart prompt
extern const std::string_view onlyPolished;      ///< ends the polish prompt
extern const std::string_view command;

extern const std::string_view translateInto;       ///< the language follows
extern const std::string_view translateRules;      ///< ends with the mark of its next item
extern const std::string_view translateThenWrite;  ///< the language follows
extern const std::string_view translateEnd;

// The headings of what is known about the moment.
extern const std::string_view vocabulary;     ///< the terms follow
extern const std::string_view vocabularyUse;  ///< follows the terms
extern const std::string_view profile;
extern const std::string_view situation;
extern const std::string_view beforeCursor;
extern const std::string_view beforeCursorOfCommand;

/// What was heard, and how an editor writes it.
struct FewShotPair {
    std::string_view raw;
    std::string_view cleaned;
};
extern const std::array<FewShotPair, 13> fewShotPairs;

}  // namespace quillet::PromptTexts
