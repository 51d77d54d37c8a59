#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Keys.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier)
union _XEvent;

namespace quillet {

class X11Connection;

/// What the keys of the keyboard mean, whatever layout is in use. Belongs to the thread that uses
/// the connection.
class X11Keymap {
public:
    using Keycode = std::uint8_t;
    using Symbol = unsigned long;

    /// Reads the map, and asks the connection for events that tell of changes.
    explicit X11Keymap(X11Connection& connection);

    void reload();
    /// Whether this event tells that the map is to be reloaded.
    [[nodiscard]] bool tellsOfChange(const _XEvent& event) const;

    /// The keys that stand for Fn, by symbol; at first the platform's default.
    void setFunctionKeys(std::vector<Symbol> symbols) { functionKeys_ = std::move(symbols); }
    [[nodiscard]] static std::vector<Symbol> defaultFunctionKeys();

    /// Which named key this is. A symbol of the layout in use counts first, then any other's.
    [[nodiscard]] std::optional<Key> key(Keycode keycode) const;
    [[nodiscard]] std::optional<Modifier> modifier(Keycode keycode) const;
    /// Whether a held key changes what other keys mean, be it a modifier that has a name or not.
    [[nodiscard]] bool shiftsOthers(Keycode keycode) const;
    /// Whether it is any modifier, one that has a name, that has none, or that locks.
    [[nodiscard]] bool isModifier(Keycode keycode) const;

    /// Every key that gives one of the symbols of `key` in any layout.
    [[nodiscard]] std::vector<Keycode> keycodesOf(Key key) const;
    /// Function keys that would also do something else when pressed, such as opening a menu.
    [[nodiscard]] std::vector<Keycode> functionKeycodesThatType() const;
    /// The key to press for a symbol: of the layout in use if it has one, else of any other.
    [[nodiscard]] std::optional<Keycode> keycodeFor(Symbol symbol) const;

    /// The server's modifier bits of these modifiers; Fn has none.
    [[nodiscard]] unsigned mask(Modifiers modifiers) const;
    [[nodiscard]] unsigned numLockMask() const;

    [[nodiscard]] int groupCount() const;
    [[nodiscard]] int currentGroup() const;
    /// Whether Latin letters can be typed in this group.
    [[nodiscard]] bool typesAscii(int group) const;

private:
    struct KeyInfo {
        std::vector<Symbol> symbols;  ///< unshifted, one for each group
        unsigned modifierBits = 0;
    };

    [[nodiscard]] Symbol symbol(Keycode keycode, int group) const;
    [[nodiscard]] unsigned maskOfSymbols(std::initializer_list<Symbol> symbols) const;
    [[nodiscard]] bool gives(Keycode keycode, Symbol symbol) const;
    [[nodiscard]] bool isFunctionKey(Keycode keycode) const;

    X11Connection& connection_;
    int xkbEventBase_ = 0;
    std::array<KeyInfo, 256> keys_;
    std::vector<Symbol> functionKeys_ = defaultFunctionKeys();
};

}  // namespace quillet
