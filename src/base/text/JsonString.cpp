#include "base/text/JsonString.h"

#include <fmt/format.h>
#include <unicode/utf8.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

#include "base/text/Text.h"

namespace quillet {

namespace {

constexpr unsigned char firstPrintable = 0x20;

/// Which bytes cannot stand in a JSON string as they are.
constexpr auto isEscaped = [] {
    std::array<bool, 256> escaped{};
    for (std::size_t c = 0; c < firstPrintable; ++c)
        escaped[c] = true;
    escaped['"'] = escaped['\\'] = true;
    return escaped;
}();

void appendEscaped(std::string& json, char c) {
    switch (c) {
        case '"':
            json += "\\\"";
            return;
        case '\\':
            json += "\\\\";
            return;
        case '\n':
            json += "\\n";
            return;
        case '\r':
            json += "\\r";
            return;
        case '\t':
            json += "\\t";
            return;
        default:
            fmt::format_to(std::back_inserter(json), "\\u{:04x}", static_cast<unsigned char>(c));
    }
}

/// Whether one of eight bytes cannot simply be taken over: it is escaped, or no ASCII.
bool needsCare(std::uint64_t bytes) {
    constexpr std::uint64_t ones = 0x0101'0101'0101'0101;
    constexpr std::uint64_t highBits = 0x80 * ones;
    // Lowering a byte by one or more borrows into its high bit when it was too small for that.
    const auto below = [](std::uint64_t all, std::uint64_t limit) { return all - limit * ones; };
    const auto quotes = bytes ^ (ones * '"');
    const auto backslashes = bytes ^ (ones * '\\');
    return ((bytes | below(bytes, firstPrintable) | below(quotes, 1) | below(backslashes, 1)) &
            highBits) != 0;
}

bool isPlain(char c) {
    return static_cast<unsigned char>(c) < 0x80 && !isEscaped[static_cast<unsigned char>(c)];
}

/// The first byte from there on that cannot simply be taken over.
std::size_t behindPlain(std::string_view text, std::size_t at) {
    for (std::uint64_t eight = 0; at + sizeof eight <= text.size(); at += sizeof eight) {
        std::memcpy(&eight, text.data() + at, sizeof eight);
        if (needsCare(eight))
            break;
    }
    while (at < text.size() && isPlain(text[at]))
        ++at;
    return at;
}

/// The end of the characters from there on that are not ASCII; none when one is malformed.
std::optional<std::size_t> behindOthers(std::string_view text, std::size_t at) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto isTrail = [&](std::size_t i) { return (byteAt(i) & 0xC0U) == 0x80U; };
    const auto start = at;
    // What most Chinese is written with has no exceptions to look for.
    while (at + 3 <= text.size() && byteAt(at) >= 0xE1 && byteAt(at) <= 0xEC && isTrail(at + 1) &&
           isTrail(at + 2))
        at += 3;
    if (at > start)
        return at;
    auto end = static_cast<std::int32_t>(at);
    UChar32 c = 0;
    U8_NEXT(text.data(), end, static_cast<std::int32_t>(text.size()), c);
    return c < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(end));
}

/// False, with part of it appended, when the text is not valid UTF-8.
bool appendQuoted(std::string& json, std::string_view text) {
    json += '"';
    std::size_t written = 0;
    for (auto at = behindPlain(text, 0); at < text.size(); at = behindPlain(text, at)) {
        if (isEscaped[static_cast<unsigned char>(text[at])]) {
            json += text.substr(written, at - written);
            appendEscaped(json, text[at]);
            written = ++at;
        } else if (const auto end = behindOthers(text, at)) {
            at = *end;
        } else {
            return false;
        }
    }
    json += text.substr(written);
    json += '"';
    return true;
}

}  // namespace

void appendJsonString(std::string& json, std::string_view text) {
    const auto before = json.size();
    if (appendQuoted(json, text))
        return;
    json.resize(before);
    (void)appendQuoted(json, withValidUtf8(text));
}

void appendNestedJsonString(std::string& json, std::string_view text) {
    const auto start = json.size();
    json += '\\';
    const auto inner = json.size();
    appendJsonString(json, text);
    if (json.find('\\', inner) == std::string::npos) {
        json.insert(json.size() - 1, 1, '\\');
        return;
    }
    const auto once = json.substr(inner);
    std::string twice;
    appendJsonString(twice, once);
    json.resize(start);
    json.append(twice, 1, twice.size() - 2);
}

}  // namespace quillet
