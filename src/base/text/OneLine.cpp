#include "base/text/OneLine.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

#include "base/text/Text.h"

namespace quillet {

namespace {

bool breaksLine(UChar32 c) {
    constexpr uint32_t mask = U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK;
    return c >= 0 && (U_GET_GC_MASK(c) & mask) != 0;
}

}  // namespace

std::string oneLine(std::string_view text) {
    text = trimmedView(text);
    const auto size = static_cast<int32_t>(text.size());
    std::string line;
    line.reserve(text.size());
    bool inBreak = false;
    for (int32_t next = 0; next < size;) {
        const auto begin = static_cast<std::size_t>(next);
        UChar32 c = 0;
        U8_NEXT(text.data(), next, size, c);
        if (!breaksLine(c))
            line += text.substr(begin, static_cast<std::size_t>(next) - begin);
        else if (!inBreak)
            line += ' ';
        inBreak = breaksLine(c);
    }
    return trimmed(line);
}

}  // namespace quillet
