#include "base/text/JsonString.h"

#include <fmt/format.h>

#include <array>

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

void appendQuoted(std::string& json, std::string_view text) {
    json += '"';
    std::size_t written = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isEscaped[static_cast<unsigned char>(text[at])])
            continue;
        json += text.substr(written, at - written);
        appendEscaped(json, text[at]);
        written = at + 1;
    }
    json += text.substr(written);
    json += '"';
}

}  // namespace

void appendJsonString(std::string& json, std::string_view text) {
    if (isValidUtf8(text))
        appendQuoted(json, text);
    else
        appendQuoted(json, withValidUtf8(text));
}

}  // namespace quillet
