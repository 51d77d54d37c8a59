#pragma once

#include <expected>
#include <functional>
#include <string>
#include <vector>

#include "platform/Keys.h"

namespace quillet {

struct KeyboardEvent {
    enum class Kind {
        modifiersChanged,
        keyDown,  ///< once a press: auto-repeat is left out
        keyUp,
        interrupted,  ///< the system stopped delivering keys for a while and does so again now
    };
    Kind kind = Kind::modifiersChanged;
    Key key = Key::none;  ///< for keyDown and keyUp
    Modifiers modifiers;  ///< those held now, this event included
    bool isOwn = false;   ///< the key was posted by this program's KeyPoster
};

/// Sees the keyboard whatever application has the focus. Only modifiers and the keys of `Key` are
/// ever reported; nothing else that the user types leaves the implementation or is kept in it. Of
/// any other key is told, and only while that is asked for, that one went down.
class KeyboardMonitor {
public:
    enum class Error {
        unavailable,  ///< this desktop does not let an application see global keys
    };
    /// A chord that could not be had because somebody else owns it.
    struct Conflict {
        KeyChord chord;
        std::string owner;  ///< the owner's name where it can be told, else empty
    };
    using OnEvent = std::function<void(const KeyboardEvent&)>;
    using OnConflict = std::function<void(const Conflict&)>;

    virtual ~KeyboardMonitor() = default;

    /// Begins to watch. Both callbacks come on the main queue, until the monitor is destroyed.
    [[nodiscard]] virtual std::expected<void, Error> start(OnEvent onEvent,
                                                           OnConflict onConflict) = 0;

    /// The chords whose key must not reach the focused application, from now on. What was swallowed
    /// before and is not in the list is released. A chord that somebody else owns is reported
    /// through `onConflict`; its events still arrive. Returns at once.
    virtual void setSwallowed(std::vector<KeyChord> chords) = 0;

    /// Whether `Key::other` is reported, from now on: when it went down, not when it went up. At
    /// first it is not. Returns at once.
    virtual void setReportsTyping(bool reports) = 0;

    /// Which physical keys stand for Fn, by the platform's key names; an empty list means the
    /// platform's default. Names that are not known are ignored and returned.
    virtual std::vector<std::string> setFunctionKeys(std::vector<std::string> keyNames) = 0;
};

}  // namespace quillet
