#pragma once

#include "platform/Keychain.h"

namespace quillet {

/// A desktop without a keyring.
class AbsentKeychain final : public Keychain {
public:
    asio::awaitable<std::expected<std::string, Error>> read(std::string name) override;
    asio::awaitable<std::expected<void, Error>> write(std::string name, std::string value) override;
    asio::awaitable<std::expected<void, Error>> unlock() override;
};

}  // namespace quillet
