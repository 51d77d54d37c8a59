#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <string>
#include <string_view>

namespace quillet {

/// Secrets, kept apart from the settings. Calls have a deadline of 3 s and never show a prompt
/// except where said.
class Keychain {
public:
    enum class Error {
        notFound,  ///< the keychain is open and holds no such secret
        locked,    ///< it must be unlocked first
        absent,    ///< there is no keychain on this desktop
        failed,    ///< it did not answer, or answered nonsense
    };

    virtual ~Keychain() = default;

    [[nodiscard]] virtual asio::awaitable<std::expected<std::string, Error>> read(
        std::string name) = 0;
    /// An empty value removes the secret.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, Error>> write(std::string name,
                                                                            std::string value) = 0;
    /// Lets the desktop ask the user for the keychain's password. Only upon a user's action.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, Error>> unlock() = 0;
};

/// The service name under which the keys of services are stored.
inline constexpr std::string_view keychainService = "com.quillet.Quillet";

/// One plain sentence on what is the matter and what to do.
[[nodiscard]] std::string_view explanation(Keychain::Error error);

}  // namespace quillet
