#pragma once

#include <asio/awaitable.hpp>
#include <expected>

#include "platform/FrontApplication.h"
#include "platform/Keys.h"

namespace quillet {

/// How an application is told to send what is written.
enum class ReturnStyle {
    alone,
    withCommand,  ///< together with the modifier that the platform's shortcuts have
};

/// Presses keys in the place of the user.
class KeyPoster {
public:
    enum class Error {
        unavailable,  ///< no way to post keys here
        noSuchKey,    ///< no key of the keyboard gives this symbol
    };

    virtual ~KeyPoster() = default;

    /// The modifiers that the user holds down at this moment. Does not block.
    [[nodiscard]] virtual Modifiers heldModifiers() = 0;

    /// Presses and releases the paste keys that an application of this style understands.
    /// Modifiers that the user still holds are lifted for the moment and put back.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, Error>> postPaste(
        PasteStyle style) = 0;

    /// Presses and releases Return. Modifiers that the user still holds are lifted for the moment.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, Error>> postReturn(
        ReturnStyle style) = 0;

    /// Presses and releases a key with exactly these modifiers.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, Error>> postKey(KeyChord chord) = 0;
};

}  // namespace quillet
