#include "platform/linux/AtspiFocusSearch.h"

#include <atspi/atspi.h>

namespace quillet {

namespace {

GRef<AtspiStateSet> statesOf(AtspiAccessible* node) {
    return GRef<AtspiStateSet>(atspi_accessible_get_state_set(node));
}

bool has(const GRef<AtspiStateSet>& states, AtspiStateType state) {
    return states && atspi_state_set_contains(states.get(), state);
}

bool isText(AtspiAccessible* node) {
    return GRef<AtspiText>(atspi_accessible_get_text_iface(node)) != nullptr;
}

/// A browser builds the tree of its pages only once it was asked this of its window.
void wake(AtspiAccessible* window) {
    if (GHashTable* attributes = atspi_accessible_get_attributes(window, nullptr))
        g_hash_table_unref(attributes);
}

}  // namespace

/// Calls `visit` with each child until it returns false or the search is over.
template <class Visit>
void AtspiFocusSearch::eachChild(Accessible* parent, Visit visit) {
    GErrorPtr error;
    const int count = atspi_accessible_get_child_count(parent, ErrorOut(error));
    failed_ = failed_ || error;
    for (int i = 0; i < count && !isOver(); ++i) {
        const GRef<AtspiAccessible> child(atspi_accessible_get_child_at_index(parent, i, nullptr));
        if (child && !visit(child.get()))
            return;
    }
}

GRef<AtspiFocusSearch::Accessible> AtspiFocusSearch::run(pid_t application) {
    const GRef<AtspiAccessible> desktop(atspi_get_desktop(0));
    GRef<Accessible> found;
    if (!desktop)
        return found;
    // What the library remembers of the applications may be old.
    atspi_accessible_clear_cache(desktop.get());
    eachChild(desktop.get(), [&](Accessible* candidate) {
        // The bus answers this; no other application is asked anything.
        if (atspi_accessible_get_process_id(candidate, nullptr) == static_cast<guint>(application))
            found = inApplication(candidate);
        return !found;
    });
    return found;
}

GRef<AtspiFocusSearch::Accessible> AtspiFocusSearch::inApplication(Accessible* application) {
    GRef<Accessible> text;
    eachChild(application, [&](Accessible* window) {
        if (!has(statesOf(window), ATSPI_STATE_ACTIVE))
            return true;
        sawWindow_ = true;
        wake(window);
        text = textBelow(window, 0);
        return !text;
    });
    return text ? std::move(text) : std::move(outermost_);
}

/// Depth-first, which in a form finds the field before what toolkits hide inside it.
GRef<AtspiFocusSearch::Accessible> AtspiFocusSearch::textBelow(Accessible* node, int depth) {
    const auto states = statesOf(node);
    if (!has(states, ATSPI_STATE_SHOWING))
        return {};
    if (has(states, ATSPI_STATE_FOCUSED)) {
        if (isText(node))
            return sharedRef(node);
        if (!outermost_ || depth < outermostDepth_) {
            outermost_ = sharedRef(node);
            outermostDepth_ = depth;
        }
    }
    GRef<Accessible> text;
    // Menus are half of an editor's widgets.
    if (atspi_accessible_get_role(node, nullptr) == ATSPI_ROLE_MENU_BAR)
        return text;
    eachChild(node, [&](Accessible* child) {
        text = textBelow(child, depth + 1);
        return !text;
    });
    return text;
}

FocusedField::Security AtspiFocusSearch::security(Accessible* field) {
    GErrorPtr error;
    const auto role = atspi_accessible_get_role(field, ErrorOut(error));
    if (error)
        return FocusedField::Security::unknown;
    if (role == ATSPI_ROLE_PASSWORD_TEXT)
        return FocusedField::Security::secure;
    // A terminal has text as well, but passwords are typed into it too.
    const bool isField = role == ATSPI_ROLE_TEXT || role == ATSPI_ROLE_ENTRY ||
                         has(statesOf(field), ATSPI_STATE_EDITABLE);
    return isField && role != ATSPI_ROLE_TERMINAL && isText(field)
               ? FocusedField::Security::plain
               : FocusedField::Security::unknown;
}

FocusedField::Selection AtspiFocusSearch::selection(Accessible* field) {
    using Kind = FocusedField::Selection::Kind;
    const GRef<AtspiText> text(atspi_accessible_get_text_iface(field));
    GErrorPtr error;
    const int count = text ? atspi_text_get_n_selections(text.get(), ErrorOut(error)) : -1;
    if (count < 0 || error)
        return {};
    if (count == 0)
        return {Kind::nothing, {}};
    const std::unique_ptr<AtspiRange, GFree> range(
        atspi_text_get_selection(text.get(), 0, ErrorOut(error)));
    if (!range || error)
        return {};
    const int length = range->end_offset - range->start_offset;
    if (length == 0)
        return {Kind::nothing, {}};
    // Browsers count characters beyond the basic plane wrongly here, but not in the caret.
    const int caret = atspi_text_get_caret_offset(text.get(), ErrorOut(error));
    if (length < 0 || error || (caret != range->start_offset && caret != range->end_offset))
        return {};
    // A character takes a byte or more; what is too long is not even asked for.
    if (static_cast<std::size_t>(length) > FocusedTextReader::longestSelection)
        return {Kind::tooLong, {}};
    const GString8 selected(
        atspi_text_get_text(text.get(), range->start_offset, range->end_offset, ErrorOut(error)));
    if (!selected || error)
        return {};
    FocusedField::Selection selection{Kind::text, selected.get()};
    if (selection.text.size() > FocusedTextReader::longestSelection)
        return {Kind::tooLong, {}};
    return selection.text.empty() ? FocusedField::Selection{} : selection;
}

}  // namespace quillet
