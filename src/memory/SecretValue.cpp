#include "memory/SecretValue.h"

#include <algorithm>

namespace quillet {

namespace {

constexpr std::size_t fewestOfValue = 3;
constexpr std::size_t mostWordsOfPhrase = 10;
constexpr std::size_t mostHanOfPhrase = 24;
/// Longer ones are hidden as long tokens.
constexpr std::size_t longestValue = 256;
/// Of a code that is sent to be typed.
constexpr std::size_t shortestCode = 4;
constexpr std::size_t longestCode = 8;

constexpr std::u32string_view quotes = U"\"'`“”‘’「」『』";
constexpr std::u32string_view looseEnds = U".,;:!?)]}>\"'`";
constexpr std::u32string_view marksOfClauses = U",;!?.，。、；！？…\n\r";
constexpr std::u32string_view signsInValues = U"@#$%^&*!+~=|\\";
/// What follows a plain number: a year, a sum, a count.
constexpr std::u32string_view units = U"年月日号號点點分秒元块塊万萬亿个個人次天位条條%";

constexpr std::u32string_view blanks = U" \t\n\r";

bool isVisibleAscii(char32_t c) {
    return c > U' ' && c < 0x7F;
}
bool isHan(char32_t c) {
    return (c >= 0x3400 && c < 0xA000) || (c >= 0x20000 && c < 0x32000);
}
}  // namespace

TextRange tokenAt(const ScreenedText& text, std::size_t begin, char32_t endMark) {
    auto end = begin;
    while (end < begin + longestValue && isVisibleAscii(text[end]) && text[end] != endMark)
        ++end;
    while (end > begin && looseEnds.contains(text[end - 1]))
        --end;
    return {begin, end};
}

bool isNumber(const ScreenedText& text, TextRange token) {
    for (auto at = token.begin; at < token.end; ++at) {
        if (!isAsciiDigit(text[at]))
            return false;
    }
    return token.size() > 0;
}

bool hasUnit(const ScreenedText& text, TextRange number) {
    return units.contains(text[number.end]);
}

bool looksLikeValue(const ScreenedText& text, TextRange token) {
    if (token.size() < fewestOfValue || units.contains(text[token.end - 1]))
        return isNumber(text, token) && isAsciiDigit(text[afterGap(text, token.end)]);
    if (isNumber(text, token) && hasUnit(text, token))
        return false;
    for (auto at = token.begin; at < token.end; ++at) {
        if (isAsciiDigit(text[at]) || signsInValues.contains(text[at]))
            return true;
    }
    return false;
}

bool isOrdinaryNumber(const ScreenedText& text, TextRange token) {
    if (!isNumber(text, token))
        return false;
    const auto first = text[token.begin];
    const auto second = text[token.begin + 1];
    const bool century = (first == U'1' && second == U'9') || (first == U'2' && second == U'0');
    return token.size() > longestCode || (token.size() == 4 && century);
}

bool isCode(const ScreenedText& text, TextRange token) {
    return isNumber(text, token) && token.size() >= shortestCode && !hasUnit(text, token) &&
           !isOrdinaryNumber(text, token);
}

CharacterKinds kindsIn(const ScreenedText& text, TextRange token) {
    CharacterKinds kinds;
    for (auto at = token.begin; at < token.end; ++at) {
        kinds.letters = kinds.letters || isAsciiLetter(text[at]);
        kinds.digits = kinds.digits || isAsciiDigit(text[at]);
        kinds.signs = kinds.signs || signsInValues.contains(text[at]);
    }
    return kinds;
}

std::size_t afterGap(const ScreenedText& text, std::size_t at) {
    return text[at] == U' ' || text[at] == U'-' ? at + 1 : at;
}

bool endsClause(const ScreenedText& text, std::size_t at) {
    const auto c = text[at];
    if (at >= text.size() || !marksOfClauses.contains(c))
        return at >= text.size();
    // Plain marks may stand within a value.
    return !isVisibleAscii(c) || !isVisibleAscii(text[at + 1]);
}

std::size_t phraseEnd(const ScreenedText& text, std::size_t at) {
    std::size_t words = 0;
    std::size_t han = 0;
    auto end = at;
    for (const auto limit = at + longestValue; at < limit && !endsClause(text, at); ++at) {
        const bool blank = blanks.contains(text[at]);
        words += !blank && (at == 0 || blanks.contains(text[at - 1])) ? 1 : 0;
        han += isHan(text[at]) ? 1 : 0;
        if (words > mostWordsOfPhrase || han > mostHanOfPhrase)
            break;
        if (!blank && !quotes.contains(text[at]))
            end = at + 1;
    }
    return end;
}

}  // namespace quillet
