#include "memory/TextForms.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "base/text/Text.h"

namespace quillet {

namespace {

constexpr UChar32 firstFullWidth = 0xFF01;
constexpr UChar32 lastFullWidth = 0xFF5E;
constexpr UChar32 fullWidthOffset = 0xFEE0;

/// Bytes that a character may take on average: one character can hold any number of marks.
constexpr std::size_t mostBytesOfCharacter = 16;

void append(std::string& text, UChar32 c) {
    std::array<uint8_t, U8_MAX_LENGTH> bytes{};
    int32_t size = 0;
    U8_APPEND_UNSAFE(bytes, size, c);
    text.append(bytes.begin(), bytes.begin() + size);
}

template <class Visit>
void eachCodePoint(std::string_view text, Visit visit) {
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t next = 0; next < size;) {
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), next, size, c);
        visit(c);
    }
}

/// Chinese and Japanese characters, which have no case, and no blank among them.
bool isPlainCjk(UChar32 c) {
    return c > 0x3000 && c < 0xA000;
}

UChar32 folded(UChar32 c) {
    if (c < 0x80)
        return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c;
    return isPlainCjk(c) ? c : u_foldCase(c, U_FOLD_CASE_DEFAULT);
}

bool isBlank(UChar32 c) {
    return !isPlainCjk(c) && (u_isUWhiteSpace(c) || u_iscntrl(c));
}

std::string_view firstBytes(std::string_view text, std::size_t most) {
    auto size = std::min(text.size(), most);
    while (size > 0 && size < text.size() && U8_IS_TRAIL(static_cast<uint8_t>(text[size])))
        --size;
    return text.substr(0, size);
}

}  // namespace

std::string nameForm(std::string_view text) {
    std::string form;
    form.reserve(text.size());
    eachCodePoint(text, [&](UChar32 c) {
        const bool fullWidth = c >= firstFullWidth && c <= lastFullWidth;
        if (!isBlank(c))
            append(form, folded(fullWidth ? c - fullWidthOffset : c));
    });
    return form;
}

std::string oneLine(std::string_view text, std::size_t mostCharacters) {
    std::string line;
    bool gap = false;
    eachCodePoint(text, [&](UChar32 c) {
        if (isBlank(c)) {
            gap = !line.empty();
            return;
        }
        if (gap)
            line += ' ';
        gap = false;
        append(line, c);
    });
    if (line.size() <= mostCharacters)
        return line;
    const auto bounded = firstBytes(line, mostCharacters * mostBytesOfCharacter);
    return trimmed(firstCharacters(bounded, mostCharacters));
}

}  // namespace quillet
