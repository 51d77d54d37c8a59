#include "memory/ReviewJudge.h"

#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include "base/text/OneLine.h"
#include "base/text/Text.h"

namespace quillet::NightlyReview {

namespace {

/// As long as what the vocabulary writes.
constexpr std::size_t mostCharactersOfTerm = 40;

bool holds(const Entry& entry, std::string_view heard) {
    return entry.heard.contains(heard) || entry.sent.contains(heard);
}

const Entry* numbered(std::span<const Entry> batch, std::int64_t number) {
    const bool known = number >= 1 && std::cmp_less_equal(number, batch.size());
    return known ? &batch[static_cast<std::size_t>(number) - 1] : nullptr;
}

/// Whether the entries that a term names are there, and one of them holds what was heard.
bool isBorneOut(const Term& term, std::span<const Entry> batch) {
    bool held = false;
    for (const auto id : term.ids) {
        const auto* entry = numbered(batch, id);
        if (entry == nullptr)
            return false;
        held = held || holds(*entry, term.heard);
    }
    return held;
}

/// Whether a text has both words, none of them as a part of the other.
bool hasBoth(std::string_view text, std::string_view one, std::string_view other) {
    const auto [shorter, longer] =
        std::minmax(one, other, [](auto a, auto b) { return a.size() < b.size(); });
    bool hasLonger = false;
    bool hasShorter = false;
    while (true) {
        const auto next = text.find(longer);
        hasShorter = hasShorter || text.substr(0, next).contains(shorter);
        if (next == std::string_view::npos)
            return hasLonger && hasShorter;
        hasLonger = true;
        text.remove_prefix(next + longer.size());
    }
}

/// Whether an entry spells the pair out. It may be about the words, or ask for the pair to be
/// learned, so that it is no sign of a word that is always misheard.
bool isSpeltOut(const Term& term, const Entry& entry) {
    return hasBoth(entry.heard, term.heard, term.written) ||
           hasBoth(entry.sent, term.heard, term.written) ||
           hasBoth(entry.again.value_or(""), term.heard, term.written);
}

/// Everything that may bear out a term of the memory, in lower case.
std::string evidence(const Memory& old, std::span<const Entry> batch,
                     std::span<const VocabEntry> vocabulary,
                     std::span<const std::string> keptTerms) {
    // Not the profile: that is what a model wrote.
    std::string text;
    const auto add = [&text](std::string_view more) { text.append(more).append("\n"); };
    std::ranges::for_each(old.terms, add);
    std::ranges::for_each(keptTerms, add);
    std::ranges::for_each(vocabulary, add, &VocabEntry::corrected);
    for (const auto& entry : batch) {
        add(entry.heard);
        add(entry.sent);
        add(entry.again.value_or(""));
    }
    return asciiLowered(text);
}

std::vector<std::string> usableTerms(std::span<const std::string> terms,
                                     std::string_view evidence) {
    std::vector<std::string> usable;
    for (const auto& text : terms) {
        auto term = oneLine(text);
        const bool fits = !term.empty() && characterCount(term) <= mostCharactersOfTerm &&
                          evidence.contains(asciiLowered(term)) &&
                          std::ranges::find(usable, term) == usable.end();
        if (fits && usable.size() < mostTerms)
            usable.push_back(std::move(term));
    }
    return usable;
}

/// A reply that forgets more terms at once than a clean-up may remove is not believed in that.
std::vector<std::string> withoutLosses(std::span<const std::string> old,
                                       std::vector<std::string> terms) {
    std::vector<std::string> lost;
    for (const auto& term : old) {
        if (std::ranges::find(terms, term) == terms.end())
            lost.push_back(term);
    }
    if (lost.size() <= largestCleanUp(old.size()))
        return terms;
    terms.insert(terms.begin(), lost.begin(), lost.end());
    terms.resize(std::min(terms.size(), mostTerms));
    return terms;
}

/// Where the last sentence that ends at this byte or before it does; 0 when none does.
std::size_t lastSentenceEnd(std::string_view text, std::size_t byte) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UText, decltype(&utext_close)> units(
        utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status),
        utext_close);
    const std::unique_ptr<icu::BreakIterator> sentences(
        icu::BreakIterator::createSentenceInstance(icu::Locale::getRoot(), status));
    if (!sentences || U_FAILURE(status))
        return 0;
    sentences->setText(units.get(), status);
    const auto at = static_cast<int32_t>(byte);
    const auto end = sentences->isBoundary(at) ? at : sentences->preceding(at);
    return U_SUCCESS(status) && end > 0 ? static_cast<std::size_t>(end) : 0;
}

}  // namespace

bool isUsablePair(std::string_view heard, std::string_view written) {
    return checkPair(heard, written).has_value() && oneLine(written) == trimmedView(written);
}

Verdict judge(const Term& term, std::span<const Entry> batch) {
    const bool credible = term.confidence >= leastConfidence && term.confidence <= 1;
    if (!credible || !isUsablePair(term.heard, term.written) || !isBorneOut(term, batch))
        return Verdict::drop;
    const auto speltOut = [&term](const Entry& entry) { return isSpeltOut(term, entry); };
    const auto held = [&term](const Entry& entry) { return holds(entry, term.heard); };
    const bool sure = term.confidence >= sureConfidence &&
                      std::cmp_greater_equal(std::ranges::count_if(batch, held), sureEntries) &&
                      std::ranges::none_of(batch, speltOut);
    return sure ? Verdict::learn : Verdict::ask;
}

std::vector<std::string> entriesWith(std::string_view heard, std::span<const Entry> batch) {
    std::vector<std::string> ids;
    for (const auto& entry : batch) {
        if (holds(entry, heard))
            ids.push_back(entry.id);
    }
    return ids;
}

bool isUsableFix(const Fix& fix, std::span<const Entry> batch) {
    const auto* entry = numbered(batch, fix.id);
    return entry != nullptr && !fix.sent.empty() && !fix.fixed.empty() && fix.sent != fix.fixed &&
           entry->sent.contains(fix.sent);
}

Memory updated(const Memory& old, const Memory& reply, std::span<const Entry> batch,
               std::span<const VocabEntry> vocabulary, std::span<const std::string> keptTerms) {
    const auto profile = trimmedView(reply.profile);
    if (profile.empty() && reply.terms.empty())
        return old;
    return {profile.empty() ? old.profile : cutAtSentence(profile, mostProfileCharacters),
            withoutLosses(old.terms,
                          usableTerms(reply.terms, evidence(old, batch, vocabulary, keptTerms)))};
}

std::string cutAtSentence(std::string_view text, std::size_t mostCharacters) {
    const auto first = firstCharacters(text, mostCharacters);
    if (first.size() == text.size())
        return std::string(text);
    const auto half = firstCharacters(first, mostCharacters / 2).size();
    // Blanks after a sentence belong to it, and may stand beyond the limit.
    const auto next = trimmedView(text.substr(first.size())).data() - text.data();
    const auto end = lastSentenceEnd(text, static_cast<std::size_t>(next));
    return trimmed(end > half ? text.substr(0, end) : first);
}

}  // namespace quillet::NightlyReview
