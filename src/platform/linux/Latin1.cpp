#include "platform/linux/Latin1.h"

namespace quillet {

namespace {

constexpr unsigned char byte(char c) {
    return static_cast<unsigned char>(c);
}
constexpr bool continues(char c) {
    return (byte(c) & 0xC0) == 0x80;
}

}  // namespace

std::string Latin1::toUtf8(std::string_view latin1) {
    std::string utf8;
    for (const char c : latin1) {
        if (byte(c) < 0x80) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xC0 | (byte(c) >> 6));
            utf8 += static_cast<char>(0x80 | (byte(c) & 0x3F));
        }
    }
    return utf8;
}

std::string Latin1::fromUtf8(std::string_view utf8) {
    std::string latin1;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if (byte(utf8[i]) < 0x80) {
            latin1 += utf8[i];
            continue;
        }
        const bool fits = (byte(utf8[i]) == 0xC2 || byte(utf8[i]) == 0xC3) && i + 1 < utf8.size() &&
                          continues(utf8[i + 1]);
        latin1 += fits ? static_cast<char>((byte(utf8[i]) << 6) | (byte(utf8[i + 1]) & 0x3F)) : '?';
        while (i + 1 < utf8.size() && continues(utf8[i + 1]))
            ++i;
    }
    return latin1;
}

}  // namespace quillet
