#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Keychain.h"

namespace quillet {

/// The keyring of the desktop, by the Secret Service interface on the session bus. Secrets are kept
/// in the default collection.
///
/// Nothing is connected or loaded before the first call. Calls are carried out on a thread of their
/// own, so that a keyring that does not answer holds up nobody, this object's end included.
class SecretServiceKeychain final : public Keychain {
public:
    struct Limits {
        std::chrono::milliseconds call = std::chrono::seconds(3);
        std::chrono::milliseconds unlock = std::chrono::seconds(60);  ///< the user types meanwhile
    };

    SecretServiceKeychain();
    /// Secrets are told apart by the service's name and their own.
    explicit SecretServiceKeychain(Limits limits, std::string_view service = keychainService);
    ~SecretServiceKeychain() override;

    asio::awaitable<std::expected<std::string, Error>> read(std::string name) override;
    /// Makes no collection where there is none, for that would show a prompt: it is `locked` then.
    asio::awaitable<std::expected<void, Error>> write(std::string name, std::string value) override;
    /// `locked` when the user turns the prompt down or leaves it alone.
    asio::awaitable<std::expected<void, Error>> unlock() override;

private:
    class Clerk;

    Clerk& clerk();
    Clerk& doorkeeper();

    Limits limits_;
    std::string service_;
    std::unique_ptr<Clerk> clerk_;
    std::unique_ptr<Clerk> doorkeeper_;  // a second one: secrets are read while a prompt is open
};

}  // namespace quillet
