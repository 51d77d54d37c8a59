#include "platform/linux/AtspiTextField.h"

#include <atspi/atspi.h>

#include <thread>

namespace quillet {

namespace {

/// Browsers need five times as long for a selection, other toolkits none of it.
constexpr auto moment = std::chrono::milliseconds(2);

std::optional<int> known(int value, const GErrorPtr& error) {
    return error || value < 0 ? std::nullopt : std::optional(value);
}

/// Stands in a text for something that has a node of its own.
constexpr std::string_view embeddedObject = "\uFFFC";
/// A field that is higher, in pixels, has more lines than one.
constexpr int highestLine = 60;
/// Deeper than the lists and quotations of any letter.
constexpr int deepest = 20;

std::string nameOf(AtspiAccessible* field) {
    const auto& object = field->parent;
    const auto orEmpty = [](const char* word) { return std::string(word ? word : ""); };
    return orEmpty(object.app ? object.app->bus_name : nullptr) + orEmpty(object.path);
}

bool hasCaret(AtspiAccessible* node) {
    const GRef<AtspiText> text(atspi_accessible_get_text_iface(node));
    return text && atspi_text_get_caret_offset(text.get(), nullptr) >= 0;
}

/// What stands at an offset of a text that has other parts embedded; none when it is a character.
GRef<AtspiAccessible> partAt(AtspiHypertext* whole, int offset) {
    const int index = atspi_hypertext_get_link_index(whole, offset, nullptr);
    const GRef<AtspiHyperlink> link(index < 0 ? nullptr
                                              : atspi_hypertext_get_link(whole, index, nullptr));
    return GRef<AtspiAccessible>(link ? atspi_hyperlink_get_object(link.get(), 0, nullptr)
                                      : nullptr);
}

}  // namespace

AtspiTextField::AtspiTextField(Accessible* field, TimePoint deadline)
    : name_(nameOf(field)),
      node_(sharedRef(field)),
      text_(atspi_accessible_get_text_iface(field)),
      deadline_(deadline) {
    descendToCaret();
}

void AtspiTextField::descendToCaret() {
    for (int depth = 0; depth < deepest && canBeAsked(); ++depth) {
        const GRef<AtspiHypertext> whole(atspi_accessible_get_hypertext_iface(node_.get()));
        if (!whole || atspi_hypertext_get_n_links(whole.get(), nullptr) <= 0)
            return;
        const auto at = caret().value_or(-1);
        const auto selected = selection().value_or(Range{});
        const bool isOnePart = selected.end - selected.start <= 1;
        auto part = isOnePart && at >= 0 ? partAt(whole.get(), at) : nullptr;
        // A link in a line is no line of its own.
        if (!part || atspi_accessible_get_role(part.get(), nullptr) == ATSPI_ROLE_LINK ||
            !hasCaret(part.get())) {
            if (text(selected).value_or("").contains(embeddedObject))
                text_.reset();
            return;
        }
        text_.reset(atspi_accessible_get_text_iface(part.get()));
        node_ = std::move(part);
    }
}

std::optional<int> AtspiTextField::length() {
    if (!canBeAsked())
        return std::nullopt;
    GErrorPtr error;
    const int length = atspi_text_get_character_count(text_.get(), ErrorOut(error));
    return known(length, error);
}

std::optional<int> AtspiTextField::caret() {
    if (!canBeAsked())
        return std::nullopt;
    GErrorPtr error;
    const int caret = atspi_text_get_caret_offset(text_.get(), ErrorOut(error));
    return known(caret, error);
}

std::optional<TextField::Range> AtspiTextField::selection() {
    if (!canBeAsked())
        return std::nullopt;
    GErrorPtr error;
    const int count = atspi_text_get_n_selections(text_.get(), ErrorOut(error));
    if (error || count < 0)
        return std::nullopt;
    if (count == 0)
        return Range{};
    const std::unique_ptr<AtspiRange, GFree> range(
        atspi_text_get_selection(text_.get(), 0, ErrorOut(error)));
    if (!range || error)
        return std::nullopt;
    return Range{range->start_offset, range->end_offset};
}

std::optional<std::string> AtspiTextField::text(Range range) {
    if (!canBeAsked())
        return std::nullopt;
    GErrorPtr error;
    const GString8 text(atspi_text_get_text(text_.get(), range.start, range.end, ErrorOut(error)));
    if (!text || error)
        return std::nullopt;
    return std::string(text.get());
}

bool AtspiTextField::select(Range range) {
    if (!canBeAsked())
        return false;
    GErrorPtr error;
    const int count = atspi_text_get_n_selections(text_.get(), ErrorOut(error));
    if (error || count < 0)
        return false;
    askedFor_ = range;
    return count > 0 ? atspi_text_set_selection(text_.get(), 0, range.start, range.end, nullptr)
                     : atspi_text_add_selection(text_.get(), range.start, range.end, nullptr);
}

void AtspiTextField::unselect(int caret) {
    if (!text_ || !askedFor_)
        return;
    GErrorPtr error;
    const std::unique_ptr<AtspiRange, GFree> now(
        atspi_text_get_selection(text_.get(), 0, ErrorOut(error)));
    const bool isKnown = now && !error;
    if (isKnown && Range{now->start_offset, now->end_offset} != *askedFor_)
        return;
    // One that does not tell selects what it was asked to when it goes on, and then this.
    if (atspi_text_get_n_selections(text_.get(), nullptr) > 0)
        atspi_text_remove_selection(text_.get(), 0, nullptr);
    atspi_text_set_caret_offset(text_.get(), caret, nullptr);
}

bool AtspiTextField::wait() {
    if (!canBeAsked())
        return false;
    std::this_thread::sleep_for(moment);
    return canBeAsked();
}

// --- Where it is ---------------------------------------------------------------------------------

std::optional<DesktopRect> AtspiTextField::characterRect(int offset) {
    if (!canBeAsked())
        return std::nullopt;
    GErrorPtr error;
    const std::unique_ptr<AtspiRect, GFree> found(atspi_text_get_character_extents(
        text_.get(), offset, ATSPI_COORD_TYPE_SCREEN, ErrorOut(error)));
    if (error || !found || found->height <= 0)
        return std::nullopt;
    return DesktopRect{found->x, found->y, found->width, found->height};
}

std::optional<DesktopRect> AtspiTextField::ownRect() {
    const GRef<AtspiComponent> component(atspi_accessible_get_component_iface(node_.get()));
    if (!component || std::chrono::steady_clock::now() >= deadline_)
        return std::nullopt;
    GErrorPtr error;
    const std::unique_ptr<AtspiRect, GFree> found(
        atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, ErrorOut(error)));
    if (error || !found || found->height <= 0 || found->height > highestLine)
        return std::nullopt;
    return DesktopRect{found->x, found->y, found->width, found->height};
}

std::optional<DesktopRect> AtspiTextField::caretRect() {
    const auto at = caret();
    auto rect = at ? characterRect(*at) : std::nullopt;
    // Behind the last character there is none.
    if (!rect && at && *at > 0)
        rect = characterRect(*at - 1);
    return rect ? rect : ownRect();
}

}  // namespace quillet
