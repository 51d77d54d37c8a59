#include "refine/ScreenTerms.h"

#include <algorithm>
#include <span>
#include <utility>

#include "base/text/Letters.h"
#include "base/text/Text.h"
#include "base/text/Words.h"

namespace quillet {

namespace {

// In characters.
constexpr std::size_t shortestTerm = 2;
constexpr std::size_t longestTerm = 40;

constexpr std::string_view sentenceEnds[] = {".", "!",  "?",  ":",  "\n", "\r",
                                             "…", "。", "！", "？", "："};

using Kinds = std::vector<CharacterKind>;
using enum CharacterKind;

bool isGraphic(char c) {
    return c > ' ' && c <= '~';
}

/// Whether a word is part of an e-mail address, a URL or the name of a host.
bool isOfAddress(std::string_view text, const Word& word) {
    auto begin = word.position;
    auto end = word.end();
    while (begin > 0 && isGraphic(text[begin - 1]))
        --begin;
    while (end < text.size() && isGraphic(text[end]))
        ++end;
    const auto around = text.substr(begin, end - begin);
    return around.contains('@') || around.contains("://") || word.text.contains('.');
}

/// A word without the ending of a genitive.
Word stem(Word word) {
    for (const std::string_view ending : {"'s", "’s"}) {
        if (word.text.ends_with(ending))
            word.text.remove_suffix(ending.size());
    }
    return word;
}

bool isInCapitals(const Kinds& kinds) {
    return std::ranges::count(kinds, upper) >= 2 && std::ranges::count(kinds, lower) == 0;
}

/// camelCase, snake_case, or letters with digits among them; 2nd is none.
bool isIdentifier(std::string_view word, const Kinds& kinds) {
    if (kinds.front() != upper && kinds.front() != lower)
        return false;
    const auto hump = std::ranges::adjacent_find(
        kinds, [](auto first, auto second) { return first == lower && second == upper; });
    return hump != kinds.end() || word.contains('_') || std::ranges::count(kinds, digit) > 0;
}

bool isCapitalised(std::string_view word, const Kinds& kinds) {
    const bool pronoun = word == "I" || word.starts_with("I'") || word.starts_with("I’");
    return kinds.front() == upper && !pronoun;
}

class Terms {
public:
    explicit Terms(std::string_view text) : text_(text) {}

    void add(const Word& word) { add(word.text); }

    /// Names with one blank between are one name.
    void addName(const Word& word) {
        const auto longer = text_.substr(name_.position, word.end() - name_.position);
        const bool continues = !name_.text.empty() &&
                               text_.substr(name_.end(), word.position - name_.end()) == " " &&
                               characterCount(longer) <= longestTerm;
        if (!continues)
            endName();
        name_ = continues ? Word{longer, name_.position} : word;
    }
    void endName() { add(std::exchange(name_, {}).text); }

    std::vector<std::string> last(std::size_t most) && {
        if (found_.size() > most)
            found_.erase(found_.begin(), found_.end() - static_cast<std::ptrdiff_t>(most));
        return std::move(found_);
    }

private:
    void add(std::string_view term) {
        const auto length = characterCount(term);
        if (length >= shortestTerm && length <= longestTerm &&
            std::ranges::find(found_, term) == found_.end())
            found_.emplace_back(term);
    }

    std::string_view text_;
    Word name_{};  ///< the last, to which more may come
    std::vector<std::string> found_;
};

/// A sentence of capitalised words is a title or a button, and says nothing of them; nor do
/// capitals where there is nothing else.
void search(std::string_view text, std::span<const Word> sentence, Terms& terms) {
    std::vector<Kinds> kinds;
    for (const auto& word : sentence)
        kinds.push_back(characterKinds(stem(word).text));
    const bool prose = std::ranges::any_of(kinds, [](auto& of) { return of.front() != upper; });
    const bool shouted = sentence.size() > 1 && std::ranges::all_of(kinds, isInCapitals);
    for (std::size_t i = 0; i < sentence.size(); ++i) {
        const auto word = stem(sentence[i]);
        const bool address = isOfAddress(text, sentence[i]);
        if (prose && i > 0 && !address && isCapitalised(word.text, kinds[i])) {
            terms.addName(word);
            continue;
        }
        terms.endName();
        if (!address && (isIdentifier(word.text, kinds[i]) || (isInCapitals(kinds[i]) && !shouted)))
            terms.add(word);
    }
    terms.endName();
}

bool endsSentence(std::string_view gap) {
    return std::ranges::any_of(sentenceEnds, [&](auto end) { return gap.contains(end); });
}

}  // namespace

std::vector<std::string> screenTerms(std::string_view text, std::size_t most) {
    const auto all = words(text);
    Terms terms(text);
    for (std::size_t begin = 0; begin < all.size();) {
        auto end = begin + 1;
        while (end < all.size() && !endsSentence(text.substr(
                                       all[end - 1].end(), all[end].position - all[end - 1].end())))
            ++end;
        search(text, std::span(all).subspan(begin, end - begin), terms);
        begin = end;
    }
    return std::move(terms).last(most);
}

}  // namespace quillet
