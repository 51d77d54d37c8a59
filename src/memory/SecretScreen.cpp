#include "memory/SecretScreen.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>

#include "memory/SecretSearch.h"

namespace quillet {

namespace {

constexpr UChar32 firstFullWidth = 0xFF01;
constexpr UChar32 lastFullWidth = 0xFF5E;
constexpr UChar32 fullWidthOffset = 0xFEE0;
/// Full-width marks that end a clause: nothing of a secret, as their plain forms may be.
constexpr std::u32string_view clauseMarks = U"！，；？";

bool isHyphen(UChar32 c) {
    return (c >= 0x2010 && c <= 0x2015) || c == 0x2212;
}

char32_t plain(UChar32 c) {
    if (c < 0x80)
        return static_cast<char32_t>(c);
    if (const auto digit = u_charDigitValue(c); digit >= 0)
        return U'0' + static_cast<char32_t>(digit);
    if (clauseMarks.contains(static_cast<char32_t>(c)))
        return static_cast<char32_t>(c);
    if (c >= firstFullWidth && c <= lastFullWidth)
        return static_cast<char32_t>(c - fullWidthOffset);
    if (u_charType(c) == U_SPACE_SEPARATOR || u_charType(c) == U_FORMAT_CHAR)
        return U' ';
    return isHyphen(c) ? U'-' : static_cast<char32_t>(c);
}

}  // namespace

ScreenedText::ScreenedText(std::string_view text) : text_(text) {
    characters_.reserve(text.size());
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t next = 0; next < size;) {
        const auto begin = static_cast<std::size_t>(next);
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), next, size, c);
        characters_.push_back({plain(c), begin});
    }
}

void ScreenedText::hide(std::size_t begin, std::size_t end) {
    for (auto at = begin; at < std::min(end, size()); ++at)
        characters_[at].hidden = true;
    hidesAnything_ = hidesAnything_ || begin < std::min(end, size());
}

bool ScreenedText::saysAnything() const {
    return std::ranges::any_of(characters_, [](const Character& one) {
        return !one.hidden && u_isalnum(static_cast<UChar32>(one.c));
    });
}

std::string ScreenedText::shown(std::string_view mark) const {
    std::string result;
    std::size_t blanks = 0;  // at the end of the result, behind a mark
    bool afterMark = false;
    for (std::size_t at = 0; at < size(); ++at) {
        const auto& one = characters_[at];
        const auto end = at + 1 < size() ? characters_[at + 1].begin : text_.size();
        if (!one.hidden) {
            const auto bytes = text_.substr(one.begin, end - one.begin);
            result += bytes;
            afterMark = afterMark && one.c == U' ';
            blanks = afterMark ? blanks + bytes.size() : 0;
            continue;
        }
        if (afterMark)
            result.resize(result.size() - blanks);
        else
            result += mark;
        afterMark = true;
        blanks = 0;
    }
    return result;
}

std::optional<std::string> withoutSecrets(std::string_view text) {
    ScreenedText screened(text);
    hideCardNumbers(screened);
    hideLongTokens(screened);
    hideNamedSecrets(screened);
    if (!screened.saysAnything())
        return std::nullopt;
    return screened.hidesAnything() ? screened.shown(secretMark) : std::string(text);
}

}  // namespace quillet
