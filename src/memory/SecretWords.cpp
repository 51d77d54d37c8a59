#include <algorithm>
#include <cstdint>
#include <optional>

#include "memory/SecretSearch.h"
#include "memory/SecretValue.h"
#include "memory/SecretVocabulary.h"

namespace quillet {

namespace {

constexpr int mostLinks = 4;

/// Of a value that does not stand right behind its word: "v2.3" is none.
constexpr std::size_t fewestOfFarValue = 5;
/// Characters behind a word in which its value may still come, and before it.
constexpr std::size_t farthestValue = 80;
constexpr std::size_t farthestCodeBefore = 16;
constexpr std::size_t longestName = 64;
constexpr int mostValues = 16;

constexpr std::u32string_view quotes = U"\"'`“”‘’「」『』";
bool isWordCharacter(char32_t c) {
    return isAsciiLetter(c) || isAsciiDigit(c);
}

class NamedSecretSearch {
public:
    explicit NamedSecretSearch(ScreenedText& text) : text_(text) {}

    void run() {
        for (std::size_t at = 0; at < text_.size();) {
            const auto* word = secretWordAt(text_, at);
            if (word == nullptr) {
                ++at;
                continue;
            }
            const auto end = matchEnd(text_, at, word->text);
            if (const auto name = nameEnd(end, word->weight))
                hideValue({at, name->end}, word->weight, *name);
            at = end;
        }
    }

private:
    /// How the name ends that a secret word begins.
    struct Name {
        std::size_t end;
        bool continues;  ///< as in secretKey or token_id
    };

    /// None where the word is only the begin of another one: secretary.
    [[nodiscard]] std::optional<Name> nameEnd(std::size_t end, SecretWeight weight) const {
        if (!isAsciiLetter(text_[end - 1]))
            return Name{end, false};
        const bool plural = (text_[end] | 0x20) == U's' && !isAsciiLetter(text_[end + 1]);
        if (plural && weight == SecretWeight::seldom)
            return std::nullopt;
        end += plural ? 1 : 0;
        if (isAsciiLower(text_[end]))
            return std::nullopt;
        const auto begin = end;
        const bool hyphenated = text_[end] == U'-' || text_[end] == U'_';
        if (isAsciiUpper(text_[end]) || (hyphenated && isWordCharacter(text_[end + 1]))) {
            while (end < begin + longestName &&
                   (isWordCharacter(text_[end]) || text_[end] == U'-' || text_[end] == U'_'))
                ++end;
        }
        return Name{end, end > begin};
    }

    struct Linked {
        SecretLink link;
        std::size_t value;  ///< where it begins
        char32_t quote;     ///< that opens the value, or 0
        bool pause;         ///< a line break or a comma comes before it
    };

    [[nodiscard]] Linked linkedFrom(std::size_t at) const {
        Linked linked{SecretLink::none, at, U'\0', false};
        for (int links = 0; links <= mostLinks; ++links) {
            skipBetween(linked);
            const auto* found = secretLinkAt(text_, linked.value);
            if (found == nullptr)
                break;
            linked.link = std::max(linked.link, found->link);
            linked.value += found->text.size();
            linked.quote = U'\0';
            linked.pause = false;
        }
        return linked;
    }

    void skipBetween(Linked& linked) const {
        constexpr std::u32string_view skipped = U"()[]【】（）<《》*";
        for (const auto limit = linked.value + farthestValue; linked.value < limit;) {
            const auto c = text_[linked.value];
            if (quotes.contains(c) && secretLinkAt(text_, linked.value) == nullptr)
                linked.quote = c;
            else if (c == U'\n' || c == U'\r' || c == U',' || c == U'，' || c == U'、')
                linked.pause = true;
            else if ((c != U' ' && c != U'\t' && !skipped.contains(c)) || isMark(linked.value))
                break;
            ++linked.value;
        }
    }

    [[nodiscard]] bool isMark(std::size_t at) const {
        return text_[at] == U'[' && text_[at + 1] == U'…';
    }

    void hideValue(TextRange word, SecretWeight weight, const Name& name) {
        const auto linked = linkedFrom(word.end);
        const bool hiddenBefore = isMark(linked.value);
        if (hiddenBefore || (name.continues && linked.link != SecretLink::sign))
            return;
        const auto token = tokenAt(text_, linked.value, endMark(linked));
        if (looksLikeValue(text_, token) || (linked.link == SecretLink::sign && token.size() > 0 &&
                                             weight == SecretWeight::seldom && !linked.pause))
            hideTokensFrom(token);
        else if (weight == SecretWeight::often && !isPlainTalk(text_, linked.value))
            hidePhrase(linked, token);
        if (weight == SecretWeight::often) {
            hideValuesBehind(word.end);
            hideCodeBefore(word.begin);
        }
    }

    /// What ends a value that was opened by a quote, or that stands in an address.
    [[nodiscard]] char32_t endMark(const Linked& linked) const {
        const bool inAddress = linked.value > 0 && text_[linked.value - 1] == U'=';
        return linked.quote == U'\0' && inAddress ? U'&' : linked.quote;
    }

    void hidePhrase(const Linked& linked, TextRange token) {
        if (linked.pause && linked.link != SecretLink::sign)
            return;
        switch (linked.link) {
            case SecretLink::none:
            case SecretLink::change:
                if (linked.quote != U'\0')
                    text_.hide(linked.value, phraseEnd(text_, linked.value));
                else
                    text_.hide(token.begin, token.end);
                break;
            case SecretLink::copula:
            case SecretLink::sign:
                text_.hide(linked.value, phraseEnd(text_, linked.value));
                break;
        }
    }

    [[nodiscard]] bool holds(TextRange token, char32_t c) const {
        auto at = token.begin;
        while (at < token.end && text_[at] != c)
            ++at;
        return at < token.end;
    }

    void hideTokensFrom(TextRange token) {
        text_.hide(token.begin, token.end);
        for (int values = 1; values < mostValues; ++values) {
            const auto next = tokenAt(text_, afterGap(text_, token.end));
            const bool continues =
                next.begin > token.end && !holds(next, U'=') &&
                (looksLikeValue(text_, next) || (isNumber(text_, token) && isNumber(text_, next)));
            if (!continues)
                return;
            text_.hide(next.begin, next.end);
            token = next;
        }
    }

    /// "The password for the office is hunter2": values further on in the clause.
    void hideValuesBehind(std::size_t at) {
        const auto limit = at + farthestValue;
        while (at < limit && !endsClause(text_, at)) {
            if (!isWordCharacter(text_[at])) {
                ++at;
                continue;
            }
            const auto token = tokenAt(text_, at);
            const bool longEnough = isNumber(text_, token) || token.size() >= fewestOfFarValue;
            if (looksLikeValue(text_, token) && longEnough && !isOrdinaryNumber(text_, token))
                text_.hide(token.begin, token.end);
            at = token.end;
        }
        if (at < limit && at < text_.size())
            hideValueOfClause(at + 1);
    }

    /// "I sent you the password, K7#x!pQ": in the clause behind that of its word.
    void hideValueOfClause(std::size_t at) {
        const auto linked = linkedFrom(at);
        const auto token = tokenAt(text_, linked.value, endMark(linked));
        const auto kinds = kindsIn(text_, token);
        const bool mixed = kinds.letters && kinds.digits && token.size() >= fewestOfFarValue;
        if ((mixed && kinds.signs) || ((mixed || isCode(text_, token)) && endsWithClause(token)))
            text_.hide(token.begin, token.end);
    }

    [[nodiscard]] bool endsWithClause(TextRange token) const {
        auto at = token.end;
        while (at < token.end + longestName && (text_[at] == U' ' || quotes.contains(text_[at])))
            ++at;
        return endsClause(text_, at);
    }

    /// "482913 是你的验证码": a code right before the word.
    void hideCodeBefore(std::size_t word) {
        const auto limit = word - std::min(word, farthestCodeBefore);
        for (auto at = word; at > limit && !endsClause(text_, at - 1); --at) {
            if (!isAsciiDigit(text_[at - 1]))
                continue;
            const TextRange digits{digitsBegin(at), at};
            const bool alone = digits.begin == 0 || !isWordCharacter(text_[digits.begin - 1]);
            if (alone && isCode(text_, digits))
                text_.hide(digits.begin, digits.end);
            return;
        }
    }
    [[nodiscard]] std::size_t digitsBegin(std::size_t end) const {
        auto begin = end;
        while (begin > 0 && end - begin < farthestCodeBefore && isAsciiDigit(text_[begin - 1]))
            --begin;
        return begin;
    }

    ScreenedText& text_;
};

}  // namespace

void hideNamedSecrets(ScreenedText& text) {
    NamedSecretSearch(text).run();
}

}  // namespace quillet
