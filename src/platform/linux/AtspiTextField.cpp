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

}  // namespace

AtspiTextField::AtspiTextField(Accessible* field, TimePoint deadline)
    : field_(sharedRef(field)),
      text_(atspi_accessible_get_text_iface(field)),
      deadline_(deadline) {}

std::string AtspiTextField::name() {
    const auto& object = field_->parent;
    const auto orEmpty = [](const char* word) { return std::string(word ? word : ""); };
    return orEmpty(object.app ? object.app->bus_name : nullptr) + orEmpty(object.path);
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
    return count > 0 ? atspi_text_set_selection(text_.get(), 0, range.start, range.end, nullptr)
                     : atspi_text_add_selection(text_.get(), range.start, range.end, nullptr);
}

bool AtspiTextField::wait() {
    if (!canBeAsked())
        return false;
    std::this_thread::sleep_for(moment);
    return canBeAsked();
}

}  // namespace quillet
