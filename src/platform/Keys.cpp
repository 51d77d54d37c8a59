#include "platform/Keys.h"

#include <string_view>
#include <utility>

namespace quillet {

std::string displayName(const KeyChord& chord) {
    static constexpr std::pair<Modifier, std::string_view> modifierNames[] = {
        {Modifier::function, "Fn"}, {Modifier::control, "Ctrl"},  {Modifier::option, "Alt"},
        {Modifier::shift, "Shift"}, {Modifier::command, "Super"},
    };
    static constexpr std::pair<Key, std::string_view> keyNames[] = {
        {Key::v, "V"},         {Key::returnKey, "Return"}, {Key::period, "Period"},
        {Key::space, "Space"}, {Key::escape, "Esc"},       {Key::none, ""},
    };
    std::string name;
    const auto append = [&name](std::string_view part) {
        if (!name.empty() && !part.empty())
            name += '+';
        name += part;
    };
    for (const auto& [modifier, text] : modifierNames) {
        if (chord.modifiers.contains({modifier}))
            append(text);
    }
    for (const auto& [key, text] : keyNames) {
        if (chord.key == key)
            append(text);
    }
    return name;
}

}  // namespace quillet
