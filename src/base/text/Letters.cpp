#include "base/text/Letters.h"

#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include <memory>

namespace quillet {

namespace {

CharacterKind kindOf(UChar32 c) {
    UErrorCode status = U_ZERO_ERROR;
    if (u_isUUppercase(c) || u_istitle(c))
        return CharacterKind::upper;
    if (u_isULowercase(c))
        return CharacterKind::lower;
    if (uscript_getScript(c, &status) == USCRIPT_HAN && u_isalpha(c))
        return CharacterKind::han;
    if (u_isalpha(c))
        return CharacterKind::letter;
    return u_isdigit(c) ? CharacterKind::digit : CharacterKind::other;
}

/// Not safe to share between threads; each thread keeps its own.
const icu::Transliterator* toLatin() {
    thread_local const std::unique_ptr<icu::Transliterator> transform = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Transliterator> made(icu::Transliterator::createInstance(
            "Any-Latin; Latin-ASCII; Lower", UTRANS_FORWARD, status));
        if (U_FAILURE(status))
            made.reset();
        return made;
    }();
    return transform.get();
}

/// Visits the code points of a text together with the bytes that write them.
template <class Visit>
void eachCodePoint(std::string_view text, Visit visit) {
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t next = 0; next < size;) {
        const int32_t begin = next;
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), next, size, c);
        visit(c,
              text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(next - begin)));
    }
}

}  // namespace

std::vector<CharacterKind> characterKinds(std::string_view text) {
    std::vector<CharacterKind> kinds;
    eachCodePoint(text, [&](UChar32 c, std::string_view) { kinds.push_back(kindOf(c)); });
    return kinds;
}

std::string romanised(std::string_view text) {
    auto wide = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    if (const auto* transform = toLatin())
        transform->transliterate(wide);
    std::string result;
    wide.toUTF8String(result);
    return result;
}

std::string withoutNumbers(std::string_view text) {
    std::string kept;
    eachCodePoint(text, [&](UChar32 c, std::string_view bytes) {
        if (u_getNumericValue(c) == U_NO_NUMERIC_VALUE)
            kept += bytes;
    });
    return kept;
}

}  // namespace quillet
