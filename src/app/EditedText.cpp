#include "app/EditedText.h"

#include <algorithm>
#include <span>
#include <utility>

#include "app/Correction.h"
#include "app/WordChanges.h"
#include "base/text/Text.h"

namespace quillet {

namespace {

/// Of fewer words, all may be one correction.
constexpr std::size_t fewestWords = 8;

// Lengths are in characters.
constexpr std::size_t longestWord = 40;
constexpr std::size_t longerFactor = 2;
constexpr std::size_t longerSlack = 20;
constexpr std::size_t shorterDivisor = 2;

using Positions = std::vector<std::size_t>;

Positions occurrences(std::string_view text, std::string_view part) {
    Positions found;
    if (part.empty())
        return found;
    for (auto at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1))
        found.push_back(at);
    return found;
}

Positions possibleStarts(std::string_view field, bool whole, const InsertionAround& around) {
    const auto& before = around.before;
    if (whole && around.fromStart)
        return field.starts_with(before) ? Positions{before.size()} : Positions{};
    auto starts = occurrences(field, before);
    for (auto& start : starts)
        start += before.size();
    return starts;
}

Positions possibleEnds(std::string_view field, bool whole, const InsertionAround& around) {
    const auto& after = around.after;
    if (whole && around.toEnd)
        return field.ends_with(after) ? Positions{field.size() - after.size()} : Positions{};
    return occurrences(field, after);
}

std::size_t lineBreaks(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        count += text[i] == '\n' || (text[i] == '\r' && !text.substr(i + 1).starts_with('\n'));
    return count;
}

/// Whether a text is another one twice, with one blank between or none. A single character twice is
/// a word in many languages.
bool isTwice(std::string_view text) {
    constexpr std::size_t widestBlank = 3;  // bytes
    for (std::size_t gap = 0; gap <= widestBlank && gap < text.size(); ++gap) {
        const auto half = (text.size() - gap) / 2;
        const auto first = text.substr(0, half);
        if (first == text.substr(half + gap) && trimmedView(text.substr(half, gap)).empty() &&
            characterCount(first) > 1)
            return true;
    }
    return false;
}

/// Whether all of the paste was read twice.
bool isRepeated(std::string_view pasted, std::string_view edited) {
    if (isTwice(edited) && !isTwice(pasted))
        return true;
    const auto at = pasted.empty() ? std::string_view::npos : edited.find(pasted);
    return at != std::string_view::npos &&
           trimmedView(edited.substr(at + pasted.size())).starts_with(trimmedView(pasted));
}

/// Whether what the user wrote in a place was read twice. A word said again is emphasis.
bool isRepeated(const Change& change) {
    const auto& [was, now] = change;
    if (isTwice(now.text()))
        return !isTwice(was.text());
    return was.size() == 0 && now.size() > 1 &&
           (trimmedView(now.textBefore()).ends_with(now.text()) ||
            trimmedView(now.textAfter()).starts_with(now.text()));
}

bool isOversize(const Word& word) {
    return word.text.size() > longestWord && characterCount(word.text) > longestWord;
}

bool isSuspicious(const Change& change) {
    return std::ranges::any_of(change.pasted.words(), isOversize) ||
           std::ranges::any_of(change.edited.words(), isOversize) || isRepeated(change);
}

std::vector<WordPair> correctionsOf(std::span<const Change> changes) {
    std::vector<WordPair> pairs;
    for (const auto& change : changes) {
        auto pair = correctionOf(change);
        if (pair && std::ranges::find(pairs, *pair) == pairs.end())
            pairs.push_back(std::move(*pair));
    }
    return pairs;
}

/// Of a text that keeps less than half of its words, the rest was not corrected.
bool isAnotherText(const WordedText& pasted, const std::vector<Change>& changes) {
    std::size_t changed = 0;
    for (const auto& change : changes)
        changed += change.pasted.size();
    return pasted.words.size() >= fewestWords && changed * 2 > pasted.words.size();
}

}  // namespace

std::optional<std::string> editedText(std::string_view fieldText, bool wholeStart, bool wholeEnd,
                                      const InsertionAround& around, std::string_view pasted) {
    const auto ends = possibleEnds(fieldText, wholeEnd, around);
    std::optional<std::string_view> best;
    const auto consider = [&](std::size_t start, std::size_t end) {
        const auto text = fieldText.substr(start, end - start);
        const auto miss = [&](std::string_view found) {  // bytes will do to compare
            return std::max(found.size(), pasted.size()) - std::min(found.size(), pasted.size());
        };
        if (!best || miss(text) < miss(*best))
            best = text;
    };
    for (const auto start : possibleStarts(fieldText, wholeStart, around)) {
        const auto end = std::ranges::lower_bound(ends, start + pasted.size());
        if (end != ends.begin() && *std::prev(end) >= start)
            consider(start, *std::prev(end));
        if (end != ends.end())
            consider(start, *end);
    }
    return best.transform([](std::string_view text) { return std::string(text); });
}

// A text that may not be what the field holds is suspicious whatever its length.
EditLesson lessonOf(std::string_view pasted, std::string_view edited) {
    using Verdict = EditLesson::Verdict;
    if (pasted == edited)
        return {Verdict::noEdit, {}};
    if (lineBreaks(edited) > lineBreaks(pasted) || isRepeated(pasted, edited))
        return {Verdict::suspicious, {}};
    const auto before = characterCount(pasted);
    const auto after = characterCount(edited);
    if (after > before * longerFactor + longerSlack)
        return {Verdict::muchLonger, {}};
    if (after * shorterDivisor < before)
        return {Verdict::muchShorter, {}};
    const WordedText was(pasted);
    const WordedText now(edited);
    const auto changes = changesBetween(was, now);
    if (std::ranges::any_of(changes, isSuspicious))
        return {Verdict::suspicious, {}};
    if (isAnotherText(was, changes))
        return {Verdict::edited, {}};
    return {Verdict::edited, correctionsOf(changes)};
}

}  // namespace quillet
