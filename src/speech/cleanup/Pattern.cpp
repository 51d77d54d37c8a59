#include "speech/cleanup/Pattern.h"

#include <unicode/uscript.h>

#include <cassert>
#include <string>

namespace quillet {

namespace {

/// ICU counts in steps of the matching engine, some thousands to the unit: about a tenth of a
/// second.
constexpr int32_t timeLimit = 1'000;

}  // namespace

Pattern::Pattern(std::u16string_view expression, Case letters) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString text(false, expression.data(),
                                  static_cast<int32_t>(expression.size()));
    compiled_.reset(icu::RegexPattern::compile(
        text, letters == Case::ignored ? UREGEX_CASE_INSENSITIVE : 0U, status));
    assert(U_SUCCESS(status));
}

std::unique_ptr<icu::RegexMatcher> Pattern::matcher(const icu::UnicodeString& text) const {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> made(compiled_->matcher(text, status));
    if (made)
        made->setTimeLimit(timeLimit, status);
    return U_SUCCESS(status) ? std::move(made) : nullptr;
}

icu::UnicodeString Pattern::replaceAll(const icu::UnicodeString& text,
                                       const icu::UnicodeString& replacement) const {
    UErrorCode status = U_ZERO_ERROR;
    const auto search = matcher(text);
    if (!search)
        return text;
    auto replaced = search->replaceAll(replacement, status);
    return U_SUCCESS(status) ? replaced : text;
}

bool Pattern::matches(const icu::UnicodeString& text) const {
    UErrorCode status = U_ZERO_ERROR;
    const auto search = matcher(text);
    return search && search->matches(status) && U_SUCCESS(status);
}

icu::UnicodeString wide(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string narrow(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

bool holdsHan(const icu::UnicodeString& text) {
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        UErrorCode status = U_ZERO_ERROR;
        if (uscript_getScript(text.char32At(i), &status) == USCRIPT_HAN)
            return true;
    }
    return false;
}

}  // namespace quillet
