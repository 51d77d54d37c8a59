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
        window_ = sharedRef(window);
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

}  // namespace quillet
