#pragma once

#include <compare>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace quillet {

/// The modifier keys as the program speaks of them. Which physical keys stand for them is the
/// platform's business: on Linux, Option is Alt, Command is Super, and Fn is a configurable key.
enum class Modifier : std::uint8_t {
    function = 1 << 0,
    control = 1 << 1,
    shift = 1 << 2,
    option = 1 << 3,
    command = 1 << 4,
};

/// A set of modifiers.
class Modifiers {
public:
    constexpr Modifiers() = default;
    constexpr Modifiers(std::initializer_list<Modifier> all) {
        for (const auto one : all)
            bits_ |= static_cast<std::uint8_t>(one);
    }

    [[nodiscard]] constexpr bool contains(Modifiers other) const {
        return (bits_ & other.bits_) == other.bits_;
    }
    [[nodiscard]] constexpr bool empty() const { return bits_ == 0; }
    constexpr void set(Modifier one, bool on) {
        const auto bit = static_cast<std::uint8_t>(one);
        bits_ = static_cast<std::uint8_t>(on ? bits_ | bit : bits_ & ~bit);
    }
    [[nodiscard]] constexpr Modifiers without(Modifiers other) const {
        Modifiers result;
        result.bits_ = static_cast<std::uint8_t>(bits_ & ~other.bits_);
        return result;
    }
    [[nodiscard]] constexpr Modifiers operator&(Modifiers other) const {
        Modifiers result;
        result.bits_ = static_cast<std::uint8_t>(bits_ & other.bits_);
        return result;
    }
    [[nodiscard]] constexpr Modifiers operator|(Modifiers other) const {
        Modifiers result;
        result.bits_ = static_cast<std::uint8_t>(bits_ | other.bits_);
        return result;
    }
    friend constexpr auto operator<=>(const Modifiers&, const Modifiers&) = default;

private:
    std::uint8_t bits_ = 0;
};

/// The keys that the program knows by name. The values are its own vocabulary; the platform finds
/// the key by its symbol, so that keyboard layouts do not matter. `none` stands for a chord made of
/// modifiers alone.
enum class Key : std::uint8_t {
    v = 9,
    returnKey = 36,
    period = 47,
    space = 49,
    escape = 53,
    other = 254,  ///< any other key: which one is not told
    none = 255,
};

/// Modifiers held while a key goes down; with Key::none, the modifiers alone.
struct KeyChord {
    Modifiers modifiers;
    Key key = Key::none;
    friend constexpr auto operator<=>(const KeyChord&, const KeyChord&) = default;
};

/// Reads "Ctrl+Alt+Space" for messages.
[[nodiscard]] std::string displayName(const KeyChord& chord);

}  // namespace quillet
