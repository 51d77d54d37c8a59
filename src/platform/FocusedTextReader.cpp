#include "platform/FocusedTextReader.h"

#include <algorithm>
#include <array>

#include "base/text/Text.h"

namespace quillet {

namespace {

using Range = TextField::Range;

/// A character may take several units; a few at the cut edge are asked for in vain.
constexpr int margin = 64;
/// Beyond it a browser's wrong range is not set right, for all that stands before is read for it.
constexpr int longestRecount = 100'000;

int codePoints(std::string_view text) {
    return static_cast<int>(
        std::ranges::count_if(text, [](unsigned char byte) { return (byte & 0xC0) != 0x80; }));
}

int beyondBasicPlane(std::string_view text) {
    return static_cast<int>(
        std::ranges::count_if(text, [](unsigned char byte) { return byte >= 0xF0; }));
}

int utf16Units(std::string_view text) {
    return codePoints(text) + beyondBasicPlane(text);
}

bool isEmpty(Range range) {
    return range.start == range.end;
}

bool isEnd(Range range, int offset) {
    return offset == range.start || offset == range.end;
}

/// None when the field does not tell, or tells another amount of text than it was asked for.
std::optional<std::string> read(TextField& field, Range range) {
    if (isEmpty(range))
        return std::string();
    const auto told = field.text(range);
    if (!told)
        return std::nullopt;
    auto text = withValidUtf8(*told);
    const int units = range.end - range.start;
    if (codePoints(text) != units && utf16Units(text) != units)
        return std::nullopt;
    return text;
}

/// What a field tells of itself at one moment, as far as that can be true.
struct Outline {
    int length = 0;
    int caret = 0;
    Range selection;  ///< empty at the caret when nothing is selected
    friend bool operator==(const Outline&, const Outline&) = default;
};

std::optional<Outline> outlineOf(TextField& field) {
    const auto length = field.length();
    const auto caret = field.caret();
    const auto selection = field.selection();
    if (!length || !caret || !selection || *caret < 0 || *caret > *length)
        return std::nullopt;
    if (isEmpty(*selection))
        return Outline{*length, *caret, {*caret, *caret}};
    if (selection->start < 0 || selection->end < selection->start || selection->end > *length)
        return std::nullopt;
    return Outline{*length, *caret, *selection};
}

/// Whether the offset stands inside a character of two UTF-16 units.
bool splitsCharacter(TextField& field, int offset, int length) {
    if (offset <= 0 || offset >= length)
        return false;
    const auto around = field.text({offset - 1, offset + 1});
    return around && codePoints(*around) == 1 && beyondBasicPlane(*around) == 1;
}

/// A character of the user's may be one unit or many.
int unitsFor(std::size_t characters, int atMost) {
    if (characters >= static_cast<std::size_t>(atMost))
        return atMost;
    return static_cast<int>(
        std::min<std::int64_t>(atMost, 2 * static_cast<std::int64_t>(characters) + margin));
}

struct Side {
    std::string text;
    bool isWhole = false;
};

/// The last characters before an offset. The first that was asked for may be half a character.
std::optional<Side> readBefore(TextField& field, int offset, std::size_t characters) {
    const int start = offset - unitsFor(characters, offset);
    const auto text = read(field, {start, offset});
    if (!text)
        return std::nullopt;
    std::string_view sound = *text;
    if (start > 0)
        sound.remove_prefix(firstCharacters(sound, 1).size());
    const auto kept = lastCharacters(sound, characters);
    return Side{std::string(kept), start == 0 && kept.size() == sound.size()};
}

/// The first characters after an offset. The last that was asked for may be half a character.
std::optional<Side> readAfter(TextField& field, int offset, int length, std::size_t characters) {
    const int end = offset + unitsFor(characters, length - offset);
    const auto text = read(field, {offset, end});
    if (!text)
        return std::nullopt;
    std::string_view sound = *text;
    if (end < length)
        sound.remove_suffix(lastCharacters(sound, 1).size());
    const auto kept = firstCharacters(sound, characters);
    return Side{std::string(kept), end == length && kept.size() == sound.size()};
}

std::optional<FocusedTextReader::Surroundings> readAround(TextField& field, const Outline& outline,
                                                          FocusedTextReader::Extent extent) {
    const auto [start, end] = outline.selection;
    if (splitsCharacter(field, start, outline.length) ||
        (end != start && splitsCharacter(field, end, outline.length)))
        return std::nullopt;
    auto before = readBefore(field, start, extent.before);
    auto after = readAfter(field, end, outline.length, extent.after);
    if (!before || !after)
        return std::nullopt;
    return FocusedTextReader::Surroundings{field.name(), std::move(before->text),
                                           std::move(after->text), before->isWhole, after->isWhole};
}

/// Some browsers subtract each character beyond the basic plane from a selection once more, though
/// not from the caret.
bool isMiscounted(TextField& field, Range told, Range set, std::string_view text) {
    if (set.start > longestRecount)
        return false;
    const auto before = read(field, {0, set.start});
    if (!before)
        return false;
    const int shift = beyondBasicPlane(*before);
    return told == Range{set.start - shift, set.end - shift - beyondBasicPlane(text)};
}

/// Whether the field tells that this range, which is to hold this text, is selected.
bool isSelected(TextField& field, Range range, std::string_view text) {
    const auto told = field.selection();
    const auto caret = field.caret();
    if (!told || isEmpty(*told) || !caret || !isEnd(range, *caret))
        return false;
    return (*told == range || isMiscounted(field, *told, range, text)) && field.text(range) == text;
}

struct Place {
    bool isReadable = true;
    std::optional<Range> range;  ///< none: the text is not there
};

/// Where the text stands just before the caret, in whichever units the field counts.
Place placeBefore(TextField& field, int caret, std::string_view text) {
    for (const int units : std::array{codePoints(text), utf16Units(text)}) {
        if (units > caret)
            break;
        const Range range{caret - units, caret};
        const auto told = field.text(range);
        if (!told)
            return {.isReadable = false};
        if (*told == text)
            return {.range = range};
    }
    return {};
}

}  // namespace

FocusedTextReader::Selection FocusedTextReader::selection() {
    using Kind = Selection::Kind;
    const auto range = field_.selection();
    if (!range)
        return {};
    if (isEmpty(*range))
        return {Kind::nothing, {}};
    // Browsers count characters beyond the basic plane wrongly here, but not in the caret.
    const auto caret = field_.caret();
    if (range->start < 0 || range->end < range->start || !caret || !isEnd(*range, *caret))
        return {};
    // A character takes a byte or more; what is too long is not even asked for.
    if (static_cast<std::size_t>(range->end - range->start) > longestSelection)
        return {Kind::tooLong, {}};
    auto text = read(field_, *range);
    if (!text)
        return {};
    if (text->size() > longestSelection)
        return {Kind::tooLong, {}};
    return {Kind::text, *std::move(text)};
}

std::optional<FocusedTextReader::Surroundings> FocusedTextReader::surroundings(Extent extent) {
    constexpr int attempts = 2;
    for (int i = 0; i < attempts; ++i) {
        const auto outline = outlineOf(field_);
        if (!outline || !isEnd(outline->selection, outline->caret))
            return std::nullopt;
        auto surroundings = readAround(field_, *outline, extent);
        // The user may have typed meanwhile.
        if (outlineOf(field_) == outline)
            return surroundings;
    }
    return std::nullopt;
}

FocusedTextReader::Selecting FocusedTextReader::select(std::string_view text) {
    const auto outline = outlineOf(field_);
    if (!outline)
        return Selecting::unreadable;
    if (text.empty())
        return Selecting::atCaret;
    const auto place = placeBefore(field_, outline->caret, text);
    if (!place.isReadable)
        return Selecting::unreadable;
    if (!isEmpty(outline->selection)) {
        const bool isIt = isSelected(field_, outline->selection, text) ||
                          (place.range && isSelected(field_, *place.range, text));
        return isIt ? Selecting::selected : Selecting::atCaret;
    }
    if (!place.range)
        return Selecting::atCaret;
    bool goesOn = field_.select(*place.range);
    while (goesOn) {
        if (isSelected(field_, *place.range, text))
            return Selecting::selected;
        goesOn = field_.wait();
    }
    // What is selected after all must not be replaced by the user's next key.
    field_.unselect(outline->caret);
    return Selecting::notThere;
}

}  // namespace quillet
