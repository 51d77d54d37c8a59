#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "base/async/Event.h"
#include "platform/IdSource.h"
#include "platform/Keychain.h"

namespace quillet {

/// The key that guards the server for AI clients. It is kept in the keychain, under a service name
/// of its own, and in memory once it was read.
///
/// A key is never made over one that exists and cannot be read: that would shut out every client
/// that was set up with it. Only `renew` replaces a key.
class MCPKey {
public:
    static constexpr std::string_view keychainService = "com.quillet.app";
    static constexpr std::string_view keychainAccount = "mcpToken";

    using Key = std::expected<std::string, Keychain::Error>;

    /// `keychain` is the one of `keychainService`.
    MCPKey(Keychain& keychain, IdSource& ids) : keychain_(keychain), ids_(ids) {}

    /// Whether a text could be a key at all.
    [[nodiscard]] static bool isKeyLike(std::string_view text);

    /// The key, made where there is none yet. Main queue's thread.
    [[nodiscard]] asio::awaitable<Key> read();
    /// Replaces the key by a fresh one. Main queue's thread.
    [[nodiscard]] asio::awaitable<Key> renew();

    /// The key once it was read; none before. Any thread.
    [[nodiscard]] std::shared_ptr<const std::string> cached() const;

private:
    struct Turn;

    asio::awaitable<Key> ask();
    asio::awaitable<Key> store();
    void cache(std::shared_ptr<const std::string> key);

    Keychain& keychain_;
    IdSource& ids_;
    mutable std::mutex lock_;
    std::shared_ptr<const std::string> key_;  // guarded by lock_
    bool isAsking_ = false;                   // the keychain, which is asked once at a time
    Event answered_;                          // set when it is not
    Keychain::Error lastError_ = Keychain::Error::failed;
};

/// Why there is no key, and what to do: sentences for the user.
[[nodiscard]] std::string unreadableKey(Keychain::Error error);

/// Whether both are the same, in a time that does not tell where they differ.
[[nodiscard]] bool isSameSecret(std::string_view a, std::string_view b);

}  // namespace quillet
