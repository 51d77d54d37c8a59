#include "app/Correction.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "base/text/Letters.h"
#include "base/text/Text.h"
#include "speech/cleanup/VocabularyMatcher.h"
#include "store/VocabularyDB.h"

namespace quillet {

namespace {

/// On either side.
constexpr std::size_t mostWords = 4;

constexpr std::string_view daysAndMonths[] = {
    "monday",  "tuesday",   "wednesday", "thursday", "friday",   "saturday", "sunday",
    "january", "february",  "march",     "april",    "may",      "june",     "july",
    "august",  "september", "october",   "november", "december", "周六",     "周日"};
constexpr std::string_view particles = "的地得了着过们是在和吗呢吧啊我你他她它";
constexpr std::string_view weekdayBeginnings[] = {"星期", "礼拜"};

bool isHan(std::string_view text) {
    const auto kinds = characterKinds(text);
    return !kinds.empty() && std::ranges::count(kinds, CharacterKind::han) == std::ssize(kinds);
}

bool holdsHan(std::string_view text) {
    return std::ranges::count(characterKinds(text), CharacterKind::han) > 0;
}

bool holdsLetter(std::string_view text) {
    return std::ranges::any_of(characterKinds(text), [](CharacterKind kind) {
        return kind != CharacterKind::digit && kind != CharacterKind::other;
    });
}

bool makesPairSpecific(std::string_view neighbour) {
    return isHan(neighbour) && !particles.contains(neighbour);
}

/// A single Han character takes in a neighbour that stayed: alone it would correct far too much,
/// and with a particle hardly less.
WordPair pairOf(const Change& change) {
    const auto& [was, now] = change;
    const std::string original(was.text());
    const std::string corrected(now.text());
    const bool single = characterCount(original) == 1 || characterCount(corrected) == 1;
    if (!single || !isHan(original) || !isHan(corrected))
        return {original, corrected};
    const std::string next(firstCharacters(was.textAfter(), 1));
    if (makesPairSpecific(next) && now.textAfter().starts_with(next))
        return {original + next, corrected + next};
    const std::string previous(lastCharacters(was.textBefore(), 1));
    if (makesPairSpecific(previous) && now.textBefore().ends_with(previous))
        return {previous + original, previous + corrected};
    return {original, corrected};
}

/// Whether only the case of the letter that begins a sentence changed.
bool isSentenceCase(const Change& change) {
    const auto& [was, now] = change;
    if (!was.startsSentence() && !now.startsSentence())
        return false;
    const auto first = firstCharacters(was.text(), 1);
    const auto second = firstCharacters(now.text(), 1);
    return was.text().substr(first.size()) == now.text().substr(second.size()) &&
           comparisonForm(first) == comparisonForm(second);
}

bool isDayOrMonth(std::string_view text) {
    return std::ranges::count(daysAndMonths, asciiLowered(text)) > 0 ||
           std::ranges::any_of(weekdayBeginnings, [&](auto day) { return text.starts_with(day); });
}

bool isOtherDateOrNumber(const WordPair& pair) {
    const auto& [was, now] = pair;
    return (isDayOrMonth(was) && isDayOrMonth(now)) ||
           comparisonForm(withoutNumbers(was)) == comparisonForm(withoutNumbers(now));
}

/// Whether the vocabulary would find one text in another.
bool occursIn(const std::string& part, const std::string& text) {
    const std::array entries{VocabEntry{part, "\x1F", 1, ""}};
    return VocabularyMatcher(entries).apply(text) != text;
}

/// Something was added or taken away. As a correction, that would happen every time.
bool isAddition(const WordPair& pair) {
    return occursIn(pair.original, pair.corrected) || occursIn(pair.corrected, pair.original);
}

std::size_t levenshteinDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const auto replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

/// Alike in spelling or sound: less than half differs. Han syllables write foreign sounds roughly,
/// therefore up to 60 % where only one side has them.
bool areAlike(const WordPair& pair) {
    const auto a = comparisonForm(romanised(pair.original));
    const auto b = comparisonForm(romanised(pair.corrected));
    const auto edits = levenshteinDistance(a, b);
    const auto longer = std::max(a.size(), b.size());
    return holdsHan(pair.original) == holdsHan(pair.corrected) ? edits * 2 < longer
                                                               : edits * 5 <= longer * 3;
}

bool isCorrection(const WordPair& pair) {
    const auto& [was, now] = pair;
    if (!checkPair(was, now) || !holdsLetter(was) || !holdsLetter(now))
        return false;
    if (comparisonForm(was) == comparisonForm(now))
        return true;  // the same word, spelled otherwise
    return !isOtherDateOrNumber(pair) && !isAddition(pair) && areAlike(pair);
}

}  // namespace

std::optional<WordPair> correctionOf(const Change& change) {
    const auto [fewer, more] = std::minmax({change.pasted.size(), change.edited.size()});
    if (fewer == 0 || more > mostWords || isSentenceCase(change))
        return std::nullopt;
    auto pair = pairOf(change);
    return isCorrection(pair) ? std::optional(std::move(pair)) : std::nullopt;
}

}  // namespace quillet
