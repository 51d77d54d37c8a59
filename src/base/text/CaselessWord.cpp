#include "base/text/CaselessWord.h"

#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/utf8.h>

namespace quillet {

namespace {

/// The code point at a byte, without case, and the byte behind it. Negative where there is none.
std::int32_t foldedAt(std::string_view text, std::size_t& at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x80) {
        ++at;
        return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte;
    }
    UChar32 c = 0;
    U8_NEXT(text.data(), at, text.size(), c);
    return c < 0 ? c : u_foldCase(c, U_FOLD_CASE_DEFAULT);
}

}  // namespace

CaselessWord::CaselessWord(std::string_view word) {
    for (std::size_t at = 0; at < word.size();)
        folded_.push_back(foldedAt(word, at));
    if (folded_.empty() || folded_.front() < 0)
        return;
    icu::UnicodeSet first(folded_.front(), folded_.front());
    first.closeOver(USET_CASE_INSENSITIVE);
    for (int i = 0; i < first.getRangeCount(); ++i) {
        for (auto c = first.getRangeStart(i); c <= first.getRangeEnd(i); ++c) {
            std::array<std::uint8_t, U8_MAX_LENGTH> bytes{};
            int size = 0;
            U8_APPEND_UNSAFE(bytes.data(), size, c);
            begins_[bytes.front()] = true;
        }
    }
}

std::optional<std::size_t> CaselessWord::endOfMatch(std::string_view text,
                                                    std::size_t begin) const {
    auto at = begin;
    for (const auto wanted : folded_) {
        if (at >= text.size() || foldedAt(text, at) != wanted)
            return std::nullopt;
    }
    return at;
}

std::optional<CaselessWord::Place> CaselessWord::findIn(std::string_view text) const {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!begins_[static_cast<unsigned char>(text[at])])
            continue;
        if (const auto end = endOfMatch(text, at))
            return Place{at, *end};
    }
    return std::nullopt;
}

std::vector<std::string> queryWords(std::string_view query) {
    std::vector<std::string> words;
    bool inWord = false;
    for (std::size_t at = 0; at < query.size();) {
        const auto begin = at;
        UChar32 c = 0;
        U8_NEXT(query.data(), at, query.size(), c);
        const bool isBlank = c >= 0 && u_isUWhiteSpace(c);
        if (!isBlank && !inWord)
            words.emplace_back();
        if (!isBlank)
            words.back() += query.substr(begin, at - begin);
        inWord = !isBlank;
    }
    return words;
}

}  // namespace quillet
