#pragma once

#include <span>
#include <string>
#include <string_view>

#include "settings/QuilletSettings.h"
#include "speech/cleanup/VocabularyMatcher.h"

namespace quillet {

/// A transcript with everything done to it that comes before a language model.
struct CleanedTranscript {
    std::string text;
    bool isSnippet = false;  ///< the saved text of a snippet, to be typed as it is
};

/// A saved snippet where the transcript asks for one; else the transcript with the user's
/// vocabulary applied and spoken addresses written.
[[nodiscard]] CleanedTranscript cleanTranscript(std::string_view raw,
                                                std::span<const Snippet> snippets,
                                                const VocabularyMatcher& vocabulary);

/// How much is done about marks: `raw` leaves the commas of pauses where they are.
enum class Punctuation { raw, full };

/// What is inserted in the end: marks and blanks set, none of them at the end of a short text, and
/// no control characters. Where that would leave nothing, the text stands as it came.
[[nodiscard]] std::string finishedText(std::string_view text, Punctuation punctuation);

}  // namespace quillet
