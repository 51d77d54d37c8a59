#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <set>

#include "platform/Keys.h"

namespace quillet {

/// What the one who posts keys and the one who watches them tell each other, so that posted keys
/// can be told from the user's. The server's device ids cannot: every program that posts keys
/// shares one device. Thread-safe.
class OwnKeys {
public:
    using Keycode = std::uint8_t;
    enum class Stroke { press, release };

    /// The user's part of the keyboard, posted keys left out.
    struct User {
        std::set<Keycode> held;       ///< modifiers and keys of `Key` only
        std::set<Keycode> swallowed;  ///< keys whose press may be kept from other programs
        Modifiers modifiers;
    };

    /// To be called before the stroke is posted.
    void expect(Keycode key, Stroke stroke);
    /// Whether this stroke was expected; it is then no longer.
    [[nodiscard]] bool claim(Keycode key, Stroke stroke);

    void publish(User user);
    void withdraw();
    /// None while nobody watches the keyboard.
    [[nodiscard]] std::optional<User> user() const;

private:
    struct Expected {
        Keycode key;
        Stroke stroke;
        std::chrono::steady_clock::time_point since;
    };

    mutable std::mutex mutex_;
    std::deque<Expected> expected_;  // guarded by mutex_
    std::optional<User> user_;       // guarded by mutex_
};

}  // namespace quillet
