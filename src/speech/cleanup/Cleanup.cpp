#include "speech/cleanup/Cleanup.h"

#include "base/text/Text.h"
#include "speech/cleanup/Punctuation.h"
#include "speech/cleanup/SnippetMatch.h"
#include "speech/cleanup/SpokenAddresses.h"

namespace quillet {

CleanedTranscript cleanTranscript(std::string_view raw, std::span<const Snippet> snippets,
                                  const VocabularyMatcher& vocabulary) {
    if (const auto* snippet = matchSnippet(raw, snippets))
        return {snippet->text, true};
    return {rewriteSpokenAddresses(vocabulary.apply(raw)), false};
}

std::string finishedText(std::string_view given, Punctuation punctuation) {
    const auto text = withoutControls(given);
    auto finished = punctuation == Punctuation::full
                        ? normalisePunctuation(text, TrailingMarks::keep)
                        : trimmed(normaliseSpacing(text));
    if (isShort(finished))
        finished = trimEnds(finished, TrailingMarks::drop);
    return finished.empty() ? trimmed(text) : finished;
}

}  // namespace quillet
