#include "platform/linux/AtspiWindowText.h"

#include <atspi/atspi.h>

#include <array>
#include <ranges>

#include "base/text/Text.h"

namespace quillet {

namespace {

/// Of one text; the rest of a long one is no longer what is next to the field.
constexpr int longestText = 2000;
/// Deeper than any page of the web.
constexpr int deepest = 500;
/// Stands in a text for something that is no text and has a node of its own.
constexpr std::string_view embeddedObject = "\uFFFC";

bool isShowing(AtspiAccessible* node) {
    const GRef<AtspiStateSet> states(atspi_accessible_get_state_set(node));
    return states && atspi_state_set_contains(states.get(), ATSPI_STATE_SHOWING);
}

/// What a window is operated with, and what nobody shall read.
bool isLeftOut(AtspiRole role) {
    constexpr std::array roles{ATSPI_ROLE_PASSWORD_TEXT, ATSPI_ROLE_MENU_BAR,
                               ATSPI_ROLE_TOOL_BAR,      ATSPI_ROLE_PUSH_BUTTON,
                               ATSPI_ROLE_TOGGLE_BUTTON, ATSPI_ROLE_SCROLL_BAR};
    return std::ranges::find(roles, role) != roles.end();
}

bool isNamedByItsText(AtspiRole role) {
    constexpr std::array roles{ATSPI_ROLE_LABEL, ATSPI_ROLE_STATIC, ATSPI_ROLE_HEADING,
                               ATSPI_ROLE_LIST_ITEM, ATSPI_ROLE_TABLE_CELL};
    return std::ranges::find(roles, role) != roles.end();
}

std::string owned(char* text) {
    const GString8 owner(text);
    return text ? withValidUtf8(text) : std::string();
}

}  // namespace

bool AtspiWindowText::isOver() const {
    return before_.characters + after_.characters > mostCharacters_ ||
           std::chrono::steady_clock::now() >= deadline_;
}

std::string AtspiWindowText::around(Accessible* field) {
    readFrom(field, before_);
    readFrom(field, after_);
    return together();
}

std::string AtspiWindowText::of(Accessible* window) {
    readWithin(window, 0, before_);
    return together();
}

void AtspiWindowText::readFrom(Accessible* field, Lines& into) {
    const int step = into.direction == Direction::backwards ? -1 : 1;
    auto at = sharedRef(field);
    for (int height = 0; height < deepest && !isOver(); ++height) {
        GRef<AtspiAccessible> parent(atspi_accessible_get_parent(at.get(), nullptr));
        if (!parent || atspi_accessible_get_role(parent.get(), nullptr) == ATSPI_ROLE_APPLICATION)
            return;
        const int count = atspi_accessible_get_child_count(parent.get(), nullptr);
        const int place = atspi_accessible_get_index_in_parent(at.get(), nullptr);
        for (int i = place + step; place >= 0 && i >= 0 && i < count && !isOver(); i += step) {
            const GRef<AtspiAccessible> sibling(
                atspi_accessible_get_child_at_index(parent.get(), i, nullptr));
            if (sibling)
                readWithin(sibling.get(), 0, into);
        }
        at = std::move(parent);
    }
}

void AtspiWindowText::readWithin(Accessible* node, int depth, Lines& into) {
    if (depth > deepest || !isShowing(node))
        return;
    const auto role = atspi_accessible_get_role(node, nullptr);
    if (isLeftOut(role))
        return;
    auto text = textOf(node, into.direction);
    const int count = atspi_accessible_get_child_count(node, nullptr);
    if (text.empty() && count <= 0 && isNamedByItsText(role))
        text = owned(atspi_accessible_get_name(node, nullptr));
    // Its parts have the texts that are left out of its own.
    if (count <= 0 || (!text.empty() && !text.contains(embeddedObject)))
        return add(text, into);
    const bool isBackwards = into.direction == Direction::backwards;
    for (int i = 0; i < count && !isOver(); ++i) {
        const GRef<AtspiAccessible> child(
            atspi_accessible_get_child_at_index(node, isBackwards ? count - 1 - i : i, nullptr));
        if (child)
            readWithin(child.get(), depth + 1, into);
    }
}

/// The end that is next to the field.
std::string AtspiWindowText::textOf(Accessible* node, Direction direction) {
    const GRef<AtspiText> text(atspi_accessible_get_text_iface(node));
    const int length = text ? atspi_text_get_character_count(text.get(), nullptr) : 0;
    if (length <= 0)
        return {};
    const int start = direction == Direction::backwards ? std::max(0, length - longestText) : 0;
    return owned(
        atspi_text_get_text(text.get(), start, std::min(length, start + longestText), nullptr));
}

void AtspiWindowText::add(std::string_view text, Lines& into) {
    std::vector<std::string_view> lines;
    for (const auto line : std::views::split(text, '\n'))
        lines.push_back(trimmedView({line.begin(), line.end()}));
    if (into.direction == Direction::backwards)
        std::ranges::reverse(lines);
    for (const auto line : lines) {
        const bool isRepeated = !into.lines.empty() && into.lines.back() == line;
        if (line.empty() || line == embeddedObject || isRepeated)
            continue;
        into.characters += characterCount(line) + 1;
        into.lines.emplace_back(line);
    }
}

std::string AtspiWindowText::together() const {
    std::string text;
    const auto append = [&text](const std::string& line) {
        if (!text.empty())
            text += '\n';
        text += line;
    };
    for (const auto& line : std::views::reverse(before_.lines))
        append(line);
    text = std::string(lastCharacters(text, mostCharacters_));
    for (const auto& line : after_.lines)
        append(line);
    return std::string(firstCharacters(text, mostCharacters_));
}

}  // namespace quillet
