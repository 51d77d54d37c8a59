#include "base/text/Text.h"

#include <unicode/brkiter.h>
#include <unicode/translit.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace quillet {

namespace {

using Utf8Index = int32_t;

Utf8Index sizeOf(std::string_view text) {
    return static_cast<Utf8Index>(text.size());
}

/// The transform is not safe to share between threads; each thread that converts keeps its own.
const icu::Transliterator* hantToHans() {
    thread_local const std::unique_ptr<icu::Transliterator> transform = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Transliterator> made(
            icu::Transliterator::createInstance("Hant-Hans", UTRANS_FORWARD, status));
        if (U_FAILURE(status))
            made.reset();
        return made;
    }();
    return transform.get();
}

/// The first byte from `i` on that is neither ASCII nor of one of the three-byte sequences that
/// most Chinese is written with: a quick way over what needs no closer look.
Utf8Index behindUsualBytes(std::string_view text, Utf8Index i) {
    constexpr std::uint64_t highBits = 0x8080'8080'8080'8080;
    const auto byteAt = [&](Utf8Index at) { return static_cast<unsigned char>(text[at]); };
    const auto isTrail = [&](Utf8Index at) { return (byteAt(at) & 0xC0U) == 0x80U; };
    const Utf8Index end = sizeOf(text);
    while (i < end) {
        std::uint64_t eight = highBits;
        if (end - i >= 8)
            std::memcpy(&eight, text.data() + i, sizeof eight);
        if ((eight & highBits) == 0)
            i += 8;
        else if (byteAt(i) < 0x80)
            ++i;
        else if (end - i >= 3 && byteAt(i) >= 0xE1 && byteAt(i) <= 0xEC && isTrail(i + 1) &&
                 isTrail(i + 2))
            i += 3;
        else
            return i;
    }
    return end;
}

bool isAsciiGraph(char c) {
    return c > ' ' && c < 0x7F;
}

bool isPunctuationOrSymbol(UChar32 c) {
    constexpr uint32_t mask = U_GC_P_MASK | U_GC_S_MASK;
    return (U_GET_GC_MASK(c) & mask) != 0;
}

}  // namespace

std::string trimmed(std::string_view text) {
    return std::string(trimmedView(text));
}

std::string_view trimmedView(std::string_view text) {
    // Most have a blank in front or none, which needs no table of properties.
    if (text.starts_with(' '))
        text.remove_prefix(1);
    if (!text.empty() && isAsciiGraph(text.front()) && isAsciiGraph(text.back()))
        return text;
    Utf8Index begin = 0;
    Utf8Index end = sizeOf(text);
    while (begin < end) {
        Utf8Index next = begin;
        UChar32 c = 0;
        U8_NEXT(text.data(), next, end, c);
        if (c < 0 || !u_isUWhiteSpace(c))
            break;
        begin = next;
    }
    while (end > begin) {
        Utf8Index previous = end;
        UChar32 c = 0;
        U8_PREV(text.data(), begin, previous, c);
        if (c < 0 || !u_isUWhiteSpace(c))
            break;
        end = previous;
    }
    return text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
}

std::string asciiLowered(std::string_view text) {
    std::string lowered(text);
    for (char& c : lowered) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return lowered;
}

std::string toSimplifiedChinese(std::string_view text) {
    const auto* transform = hantToHans();
    if (transform == nullptr || !isValidUtf8(text))
        return std::string(text);
    auto wide = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), sizeOf(text)));
    transform->transliterate(wide);
    std::string result;
    wide.toUTF8String(result);
    return result;
}

std::string caseFolded(std::string_view text) {
    auto wide = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), sizeOf(text)));
    wide.foldCase();
    std::string folded;
    wide.toUTF8String(folded);
    return folded;
}

std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        lines.push_back(line);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return lines;
}

std::string comparisonForm(std::string_view text) {
    const std::string folded = toSimplifiedChinese(withValidUtf8(text));
    auto wide = icu::UnicodeString::fromUTF8(folded);
    wide.toLower(icu::Locale::getRoot());
    icu::UnicodeString kept;
    for (int32_t i = 0; i < wide.length(); i = wide.moveIndex32(i, 1)) {
        const UChar32 c = wide.char32At(i);
        if (!u_isUWhiteSpace(c) && !isPunctuationOrSymbol(c))
            kept.append(c);
    }
    std::string result;
    kept.toUTF8String(result);
    return result;
}

bool isValidUtf8(std::string_view text) {
    Utf8Index i = 0;
    const Utf8Index end = sizeOf(text);
    while (i < end) {
        i = behindUsualBytes(text, i);
        if (i == end)
            break;
        UChar32 c = 0;
        U8_NEXT(text.data(), i, end, c);
        if (c < 0)
            return false;
    }
    return true;
}

std::string withValidUtf8(std::string_view text) {
    if (isValidUtf8(text))
        return std::string(text);
    std::string result;
    icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), sizeOf(text))).toUTF8String(result);
    return result;
}

namespace {

/// Walks over the characters of a text in place. Malformed bytes count as characters of their own.
class CharacterWalk {
public:
    explicit CharacterWalk(std::string_view text) : size_(text.size()) {
        UErrorCode status = U_ZERO_ERROR;
        text_.reset(utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(size_), &status));
        breaks_.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (breaks_ && U_SUCCESS(status))
            breaks_->setText(text_.get(), status);
        if (U_FAILURE(status))
            breaks_.reset();
    }

    /// How many bytes the first characters take.
    std::size_t first(std::size_t count) {
        return count == 0 ? 0 : offset(breaks_ ? breaks_->next(bounded(count)) : 0, size_);
    }
    /// Where the last characters begin.
    std::size_t last(std::size_t count) {
        if (count == 0 || !breaks_)
            return size_;
        breaks_->last();
        return offset(breaks_->next(-bounded(count)), 0);
    }
    std::size_t count() {
        std::size_t characters = 0;
        while (breaks_ && breaks_->next() != icu::BreakIterator::DONE)
            ++characters;
        return characters;
    }

private:
    int32_t bounded(std::size_t count) const {
        return static_cast<int32_t>(std::min(count, size_));
    }
    static std::size_t offset(int32_t found, std::size_t beyond) {
        return found == icu::BreakIterator::DONE ? beyond : static_cast<std::size_t>(found);
    }

    std::size_t size_;
    std::unique_ptr<UText, decltype(&utext_close)> text_{nullptr, utext_close};
    std::unique_ptr<icu::BreakIterator> breaks_;
};

}  // namespace

std::size_t characterCount(std::string_view text) {
    return CharacterWalk(text).count();
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    // A character has at least one byte.
    return count >= text.size() ? text : text.substr(0, CharacterWalk(text).first(count));
}

std::string_view lastCharacters(std::string_view text, std::size_t count) {
    return text.substr(CharacterWalk(text).last(count));
}

std::string shortened(std::string_view text, std::size_t count) {
    const auto first = firstCharacters(text, count);
    return first.size() == text.size() ? std::string(text) : std::string(first) + "…";
}

}  // namespace quillet
