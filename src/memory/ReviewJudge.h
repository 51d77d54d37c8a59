#pragma once

#include <span>
#include <string_view>

#include "memory/ReviewPrompt.h"

/// What is made of a model's findings. Pure; nothing that a model replied is believed without the
/// entries that bear it out.
namespace quillet::NightlyReview {

inline constexpr double leastConfidence = 0.7;
inline constexpr double sureConfidence = 0.85;
inline constexpr std::size_t sureEntries = 2;

/// Whether the vocabulary may learn that `heard` stands for `written`: both given, different and of
/// a sensible length.
[[nodiscard]] bool isUsablePair(std::string_view heard, std::string_view written);

enum class Verdict {
    drop,
    ask,    ///< the user is to decide
    learn,  ///< sure enough to be learned at once
};
/// `term` is trimmed already, as `readReply` leaves it. Dropped is what is not borne out by the
/// entries that it names. Learned is what several entries of the batch hold, unless one text spells
/// out both what was heard and what is to be written: that text may be about the words, or ask for
/// them to be learned.
[[nodiscard]] Verdict judge(const Term& term, std::span<const Entry> batch);

/// The history's ids of the entries of a batch that hold `heard`.
[[nodiscard]] std::vector<std::string> entriesWith(std::string_view heard,
                                                   std::span<const Entry> batch);

/// Whether a fix changes a text that its entry holds.
[[nodiscard]] bool isUsableFix(const Fix& fix, std::span<const Entry> batch);

/// The memory after a batch: what the reply says, cut to its limits. An empty profile does not
/// replace a full one, a reply without most of the terms does not make them forgotten, and terms
/// that neither the batch, nor the vocabulary, nor the old memory, nor a kept term bears out are
/// left out. `keptTerms` is how the terms that were not dropped are written.
[[nodiscard]] Memory updated(const Memory& old, const Memory& reply, std::span<const Entry> batch,
                             std::span<const VocabEntry> vocabulary,
                             std::span<const std::string> keptTerms);

/// The text, cut to this many characters at the end of a sentence where one ends in its second
/// half.
[[nodiscard]] std::string cutAtSentence(std::string_view text, std::size_t mostCharacters);

}  // namespace quillet::NightlyReview
