#pragma once

#include <memory>

#include "base/log/Log.h"
#include "platform/KeyPoster.h"

namespace quillet {

class OwnKeys;

/// Presses keys through the X server's test extension, from a thread of its own.
class X11KeyPoster final : public KeyPoster {
public:
    X11KeyPoster(const std::string& displayName, Log log, std::shared_ptr<OwnKeys> ownKeys);
    ~X11KeyPoster() override;

    Modifiers heldModifiers() override;
    asio::awaitable<std::expected<void, Error>> postPaste(PasteStyle style) override;
    asio::awaitable<std::expected<void, Error>> postReturn(ReturnStyle style) override;
    asio::awaitable<std::expected<void, Error>> postKey(KeyChord chord) override;

private:
    class Hands;
    std::unique_ptr<Hands> hands_;
};

}  // namespace quillet
