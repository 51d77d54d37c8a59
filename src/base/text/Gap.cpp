#include "base/text/Gap.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>

namespace quillet {

namespace {

/// Scripts that are written without blanks between words.
constexpr UScriptCode withoutBlanks[] = {USCRIPT_HAN,      USCRIPT_HIRAGANA, USCRIPT_KATAKANA,
                                         USCRIPT_BOPOMOFO, USCRIPT_THAI,     USCRIPT_LAO,
                                         USCRIPT_KHMER,    USCRIPT_MYANMAR};

bool takesBlank(UChar32 c) {
    if (c < 0 || !u_isalnum(c))
        return false;
    UErrorCode status = U_ZERO_ERROR;
    return std::ranges::find(withoutBlanks, uscript_getScript(c, &status)) ==
           std::end(withoutBlanks);
}

/// A mark that is followed by a blank where words are. Those of Chinese are others.
bool wantsBlankAfter(UChar32 c) {
    static constexpr std::u32string_view marks = U".,!?;:)]}%";
    return marks.contains(static_cast<char32_t>(c));
}

/// The last character, without the marks that stand on it.
UChar32 lastBase(std::string_view text) {
    auto at = static_cast<int32_t>(text.size());
    UChar32 c = U_SENTINEL;
    while (at > 0) {
        U8_PREV(text.data(), 0, at, c);
        if (c < 0 || (U_GET_GC_MASK(c) & U_GC_M_MASK) == 0)
            break;
    }
    return c;
}

UChar32 first(std::string_view text) {
    UChar32 c = U_SENTINEL;
    int32_t at = 0;
    if (!text.empty())
        U8_NEXT(text.data(), at, static_cast<int32_t>(text.size()), c);
    return c;
}

}  // namespace

std::string_view gapBetween(std::string_view before, std::string_view after) {
    const auto last = lastBase(before);
    return (takesBlank(last) || wantsBlankAfter(last)) && takesBlank(first(after)) ? " " : "";
}

}  // namespace quillet
