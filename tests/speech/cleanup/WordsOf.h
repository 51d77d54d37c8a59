#pragma once

#include <unicode/uchar.h>

#include <string>
#include <string_view>

#include "speech/cleanup/Pattern.h"

namespace quillet {

/// The letters, digits and Chinese characters of a text, in order: what no rule about marks and
/// blanks may lose.
inline std::string wordsOf(std::string_view text) {
    const auto all = wide(text);
    icu::UnicodeString kept;
    for (int32_t i = 0; i < all.length(); i = all.moveIndex32(i, 1)) {
        if (u_isalnum(all.char32At(i)) || u_isUAlphabetic(all.char32At(i)))
            kept.append(all.char32At(i));
    }
    return narrow(kept);
}

}  // namespace quillet
