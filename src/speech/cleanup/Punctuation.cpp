#include "speech/cleanup/Punctuation.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <span>

#include "base/text/Text.h"
#include "speech/cleanup/Pattern.h"

namespace quillet {

namespace {

constexpr std::size_t shortCharacters = 12;
constexpr int shortWords = 3;

/// One replacement over the whole text.
struct Rule {
    Pattern pattern;
    icu::UnicodeString replacement;

    Rule(std::u16string_view expression, std::u16string_view by)
        : pattern(expression), replacement(by.data(), static_cast<int32_t>(by.size())) {}
};

/// In the order in which they are applied.
std::span<const Rule> commaRules() {
    static const std::array rules = {
        // Small and half-width commas.
        Rule(u"[﹐﹑､]", u"，"),
        // An ellipsis that does not sit between Latin letters or digits is a pause.
        Rule(
            uR"((?<![A-Za-z0-9])\s*(?:…+|\.{3,}|。{2,})\s*|\s*(?:…+|\.{3,}|。{2,})\s*(?![A-Za-z0-9]))",
            u"，"),
        // A run of commas after Latin end punctuation.
        Rule(uR"(([.!?;:])[ \t]*[,，、]*，[，,、 \t]*)", u"$1 "),
        // A run of commas.
        Rule(uR"([，,、](?:\s*[，,、])+)", u"，"),
        // A comma before a stronger mark.
        Rule(uR"([，,、]\s*([。！？!?；;：:]))", u"$1"),
        // Commas after a Chinese end mark.
        Rule(uR"(([。！？；：])[ \t]*[，,、]+[ \t]*)", u"$1"),
        // No line begins with a comma.
        Rule(uR"((?m)^\s*[，,、]\s*)", u""),
    };
    return rules;
}

/// For text that holds Chinese, in the order in which they are applied. Once they are through, no
/// full-width comma has blanks beside it, so that needs no rule of its own.
std::span<const Rule> spacingRules() {
    static const std::array rules = {
        // Marks beside Chinese are full-width.
        Rule(uR"((?<=\p{Han})[ \t]*,[ \t]*)", u"，"),
        Rule(uR"([ \t]*,[ \t]*(?=\p{Han}))", u"，"),
        Rule(uR"((?<=\p{Han})[ \t]*\?[ \t]*)", u"？"),
        Rule(uR"([ \t]*\?[ \t]*(?=\p{Han}))", u"？"),
        Rule(uR"((?<=\p{Han})[ \t]*![ \t]*)", u"！"),
        Rule(uR"([ \t]*![ \t]*(?=\p{Han}))", u"！"),
        Rule(uR"((?<=\p{Han})[ \t]*:[ \t]*)", u"："),
        Rule(uR"((?<=\p{Han})[ \t]*;[ \t]*)", u"；"),
        // A full stop after Chinese, unless it is a point before a digit or a letter.
        Rule(uR"((?<=\p{Han})\.(?=[ \t]*(?:\p{Han}|$|\n)))", u"。"),
        // No blanks beside full-width marks, nor between Chinese characters.
        Rule(uR"(([，。！？；：、])[ \t]+)", u"$1"),
        Rule(uR"([ \t]+([，。！？；：、]))", u"$1"),
        Rule(uR"((?<=\p{Han})[ \t]+(?=\p{Han}))", u""),
    };
    return rules;
}

icu::UnicodeString applied(std::span<const Rule> rules, icu::UnicodeString text) {
    for (const auto& rule : rules)
        text = rule.pattern.replaceAll(text, rule.replacement);
    return text;
}

icu::UnicodeString spaced(icu::UnicodeString text) {
    return holdsHan(text) ? applied(spacingRules(), std::move(text)) : text;
}

/// How many bytes the mark that ends a text takes; 0 when it is none of these.
std::size_t lastMark(std::string_view text, std::span<const std::string_view> marks) {
    const auto found =
        std::ranges::find_if(marks, [text](std::string_view mark) { return text.ends_with(mark); });
    return found == marks.end() ? 0 : found->size();
}

bool isOneLatinWord(std::string_view text) {
    static const Pattern word(u"^[A-Za-z][A-Za-z0-9]+$");
    return word.matches(wide(text));
}

}  // namespace

bool isShort(std::string_view given) {
    const auto text = wide(trimmed(given));
    int words = 0;
    bool inWord = false;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        if (u_charType(c) == U_LINE_SEPARATOR || u_charType(c) == U_PARAGRAPH_SEPARATOR ||
            (c >= 0x0A && c <= 0x0D) || c == 0x85)
            return false;
        const bool space = u_isUWhiteSpace(c);
        words += !space && !inWord ? 1 : 0;
        inWord = !space;
    }
    return characterCount(narrow(text)) <= shortCharacters ||
           (words <= shortWords && !holdsHan(text));
}

std::string withoutControls(std::string_view given) {
    const auto text = wide(given);
    icu::UnicodeString kept;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        if (u_charType(c) != U_CONTROL_CHAR || u_isUWhiteSpace(c))
            kept.append(c);
    }
    return narrow(kept);
}

std::string trimEnds(std::string_view text, TrailingMarks trailing) {
    static constexpr std::array<std::string_view, 3> commas = {"，", ",", "、"};
    static constexpr std::array<std::string_view, 2> stops = {"。", "."};
    auto result = trimmedView(text);
    while (trailing == TrailingMarks::drop) {
        auto mark = lastMark(result, commas);
        if (mark == 0) {
            mark = lastMark(result, stops);
            const auto rest = result.substr(0, result.size() - mark);
            // Several stops in a row are an ellipsis.
            const bool fullStop = mark > 0 && lastMark(rest, stops) == 0;
            if (!fullStop || !(isOneLatinWord(rest) || isShort(result)))
                break;
        }
        result = trimmedView(result.substr(0, result.size() - mark));
    }
    return std::string(result);
}

std::string normalisePunctuation(std::string_view text, TrailingMarks trailing) {
    return trimEnds(narrow(spaced(applied(commaRules(), wide(text)))), trailing);
}

std::string normaliseSpacing(std::string_view text) {
    return narrow(spaced(wide(text)));
}

}  // namespace quillet
