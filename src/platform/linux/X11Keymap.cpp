#include "platform/linux/X11Keymap.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include <algorithm>
#include <memory>

#include "platform/linux/X11Connection.h"

namespace quillet {

namespace {

constexpr int firstKeycode = 8;
constexpr int lastKeycode = 255;

template <class T>
bool contains(const std::vector<T>& all, T one) {
    return std::ranges::find(all, one) != all.end();
}

std::optional<Key> keyOf(X11Keymap::Symbol symbol) {
    switch (symbol) {
        case XK_v:
            return Key::v;
        case XK_Return:
        case XK_KP_Enter:
        case XK_ISO_Enter:
            return Key::returnKey;
        case XK_period:
            return Key::period;
        case XK_space:
            return Key::space;
        case XK_Escape:
            return Key::escape;
        default:
            return std::nullopt;
    }
}

std::optional<Modifier> modifierOf(X11Keymap::Symbol symbol) {
    switch (symbol) {
        case XK_Control_L:
        case XK_Control_R:
            return Modifier::control;
        case XK_Shift_L:
        case XK_Shift_R:
            return Modifier::shift;
        case XK_Alt_L:
        case XK_Alt_R:
        case XK_Meta_L:
        case XK_Meta_R:
            return Modifier::option;
        case XK_Super_L:
        case XK_Super_R:
            return Modifier::command;
        default:
            return std::nullopt;
    }
}

}  // namespace

X11Keymap::X11Keymap(X11Connection& connection) : connection_(connection) {
    int opcode = 0;
    int error = 0;
    int major = XkbMajorVersion;
    int minor = XkbMinorVersion;
    XkbQueryExtension(connection.display(), &opcode, &xkbEventBase_, &error, &major, &minor);
    const unsigned changes = XkbMapNotifyMask | XkbNewKeyboardNotifyMask;
    XkbSelectEvents(connection.display(), XkbUseCoreKbd, changes, changes);
    reload();
}

std::vector<X11Keymap::Symbol> X11Keymap::defaultFunctionKeys() {
    std::vector<Symbol> symbols;
    for (const char* name : {"XF86WakeUp", "XF86Fn", "Control_R", "Menu"}) {
        if (const auto symbol = XStringToKeysym(name); symbol != NoSymbol)
            symbols.push_back(symbol);
    }
    return symbols;
}

bool X11Keymap::tellsOfChange(const XEvent& event) const {
    if (event.type == MappingNotify)
        return true;
    if (event.type != xkbEventBase_)
        return false;
    // Xlib hands XKB's events out as the any-event of a union that does not know them.
    const auto kind = reinterpret_cast<const XkbEvent&>(event).any.xkb_type;
    return kind == XkbMapNotify || kind == XkbNewKeyboardNotify;
}

void X11Keymap::reload() {
    const std::unique_ptr<XkbDescRec, void (*)(XkbDescPtr)> map(
        XkbGetMap(connection_.display(), XkbKeyTypesMask | XkbKeySymsMask | XkbModifierMapMask,
                  XkbUseCoreKbd),
        [](XkbDescPtr d) { XkbFreeKeyboard(d, XkbAllComponentsMask, True); });
    if (!map || !map->map)
        return;
    for (int keycode = firstKeycode; keycode <= lastKeycode; ++keycode) {
        auto& info = keys_.at(static_cast<std::size_t>(keycode));
        info = {};
        if (keycode < map->min_key_code || keycode > map->max_key_code)
            continue;
        const int groups = XkbKeyNumGroups(map.get(), keycode);
        for (int group = 0; group < groups; ++group)
            info.symbols.push_back(XkbKeySymEntry(map.get(), keycode, 0, group));
        if (map->map->modmap)
            info.modifierBits = map->map->modmap[keycode];
    }
}

X11Keymap::Symbol X11Keymap::symbol(Keycode keycode, int group) const {
    const auto& symbols = keys_.at(keycode).symbols;
    if (symbols.empty())
        return NoSymbol;
    return symbols[static_cast<std::size_t>(group) % symbols.size()];
}

bool X11Keymap::gives(Keycode keycode, Symbol symbol) const {
    return contains(keys_.at(keycode).symbols, symbol);
}

bool X11Keymap::isFunctionKey(Keycode keycode) const {
    return std::ranges::any_of(functionKeys_, [&](Symbol one) { return gives(keycode, one); });
}

std::optional<Key> X11Keymap::key(Keycode keycode) const {
    std::vector<Key> candidates;
    for (const auto symbol : keys_.at(keycode).symbols) {
        if (const auto key = keyOf(symbol); key && !contains(candidates, *key))
            candidates.push_back(*key);
    }
    if (candidates.empty())
        return std::nullopt;
    if (candidates.size() > 1) {
        if (const auto key = keyOf(symbol(keycode, currentGroup())))
            return key;
    }
    return candidates.front();
}

std::optional<Modifier> X11Keymap::modifier(Keycode keycode) const {
    if (isFunctionKey(keycode))
        return Modifier::function;
    for (const auto symbol : keys_.at(keycode).symbols) {
        if (const auto modifier = modifierOf(symbol))
            return modifier;
    }
    return std::nullopt;
}

bool X11Keymap::shiftsOthers(Keycode keycode) const {
    return (keys_.at(keycode).modifierBits & ~(LockMask | numLockMask())) != 0;
}

bool X11Keymap::isModifier(Keycode keycode) const {
    return modifier(keycode) || keys_.at(keycode).modifierBits != 0;
}

std::vector<X11Keymap::Keycode> X11Keymap::keycodesOf(Key key) const {
    std::vector<Keycode> result;
    for (int keycode = firstKeycode; keycode <= lastKeycode; ++keycode) {
        const auto code = static_cast<Keycode>(keycode);
        if (std::ranges::any_of(keys_.at(code).symbols, [&](Symbol s) { return keyOf(s) == key; }))
            result.push_back(code);
    }
    return result;
}

std::vector<X11Keymap::Keycode> X11Keymap::functionKeycodesThatType() const {
    std::vector<Keycode> result;
    for (int keycode = firstKeycode; keycode <= lastKeycode; ++keycode) {
        const auto code = static_cast<Keycode>(keycode);
        if (isFunctionKey(code) && keys_.at(code).modifierBits == 0)
            result.push_back(code);
    }
    return result;
}

std::optional<X11Keymap::Keycode> X11Keymap::keycodeFor(Symbol wanted) const {
    const int group = currentGroup();
    std::optional<Keycode> elsewhere;
    for (int keycode = firstKeycode; keycode <= lastKeycode; ++keycode) {
        const auto code = static_cast<Keycode>(keycode);
        if (symbol(code, group) == wanted)
            return code;
        if (!elsewhere && gives(code, wanted))
            elsewhere = code;
    }
    return elsewhere;
}

unsigned X11Keymap::maskOfSymbols(std::initializer_list<Symbol> symbols) const {
    unsigned bits = 0;
    for (int keycode = firstKeycode; keycode <= lastKeycode; ++keycode) {
        const auto code = static_cast<Keycode>(keycode);
        if (std::ranges::any_of(symbols, [&](Symbol one) { return gives(code, one); }))
            bits |= keys_.at(code).modifierBits;
    }
    return bits;
}

unsigned X11Keymap::mask(Modifiers modifiers) const {
    unsigned bits = 0;
    if (modifiers.contains({Modifier::control}))
        bits |= ControlMask;
    if (modifiers.contains({Modifier::shift}))
        bits |= ShiftMask;
    if (modifiers.contains({Modifier::option}))
        bits |= maskOfSymbols({XK_Alt_L, XK_Alt_R});
    if (modifiers.contains({Modifier::command}))
        bits |= maskOfSymbols({XK_Super_L, XK_Super_R});
    return bits;
}

unsigned X11Keymap::numLockMask() const {
    return maskOfSymbols({XK_Num_Lock});
}

int X11Keymap::groupCount() const {
    std::size_t most = 0;
    for (const auto& info : keys_)
        most = std::max(most, info.symbols.size());
    return static_cast<int>(most);
}

int X11Keymap::currentGroup() const {
    XkbStateRec state{};
    if (XkbGetState(connection_.display(), XkbUseCoreKbd, &state) != Success)
        return 0;
    return state.group;
}

bool X11Keymap::typesAscii(int group) const {
    for (int keycode = firstKeycode; keycode <= lastKeycode; ++keycode) {
        if (symbol(static_cast<Keycode>(keycode), group) == XK_v)
            return true;
    }
    return false;
}

}  // namespace quillet
