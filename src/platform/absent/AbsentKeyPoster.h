#pragma once

#include "platform/KeyPoster.h"

namespace quillet {

/// A desktop on which an application cannot press keys.
class AbsentKeyPoster final : public KeyPoster {
public:
    Modifiers heldModifiers() override;
    asio::awaitable<std::expected<void, Error>> postPaste(PasteStyle style) override;
    asio::awaitable<std::expected<void, Error>> postReturn(ReturnStyle style) override;
    asio::awaitable<std::expected<void, Error>> postKey(KeyChord chord) override;
};

}  // namespace quillet
