#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/KeyboardMonitor.h"

namespace quillet {

class X11Connection;
class X11Keymap;

/// The passive grabs that keep chords from other programs. A grab is in force from the press of
/// its key to the release: to end it earlier would let the release, and the repeats of a key that
/// is still held, through to the focused window.
class X11ChordGrabs {
public:
    X11ChordGrabs(X11Connection& connection, const X11Keymap& keymap)
        : connection_(connection), keymap_(keymap) {}

    void setChords(std::vector<KeyChord> chords) { chords_ = std::move(chords); }
    /// Chords of Fn and a key are grabbed only while Fn is held, for to the server most Fn keys
    /// are no modifiers.
    void setFunctionHeld(bool held) { functionHeld_ = held; }

    /// Brings the server's grabs in line with the chords and the keymap, and returns the conflicts
    /// that were not returned before.
    [[nodiscard]] std::vector<KeyboardMonitor::Conflict> apply();

    [[nodiscard]] std::set<std::uint8_t> grabbedKeys() const;

private:
    struct Grab {
        std::uint8_t keycode = 0;
        std::uint16_t mask = 0;
        friend auto operator<=>(const Grab&, const Grab&) = default;
    };

    [[nodiscard]] std::map<Grab, KeyChord> wanted() const;
    void addWanted(std::map<Grab, KeyChord>& grabs, const KeyChord& chord) const;
    [[nodiscard]] std::string likelyOwner() const;

    X11Connection& connection_;
    const X11Keymap& keymap_;
    std::vector<KeyChord> chords_;
    bool functionHeld_ = false;
    std::set<Grab> granted_;
    std::set<KeyChord> conflicts_;
};

}  // namespace quillet
