#include "mcp/MCPKey.h"

#include <fmt/format.h>

#include "base/text/Text.h"

namespace quillet {

namespace {

std::string freshKey(IdSource& ids) {
    std::string digits = ids.uuid() + ids.uuid();
    std::erase(digits, '-');
    return "qk_" + asciiLowered(digits);
}

}  // namespace

std::shared_ptr<const std::string> MCPKey::cached() const {
    const std::scoped_lock lock(lock_);
    return key_;
}

void MCPKey::cache(std::shared_ptr<const std::string> key) {
    const std::scoped_lock lock(lock_);
    key_ = std::move(key);
}

asio::awaitable<MCPKey::Key> MCPKey::read() {
    co_await asking_.settled();
    if (const auto key = cached())
        co_return *key;
    {
        const auto turn = asking_.begin();
        auto key = co_await keychain_.read(std::string(keychainAccount));
        if (key)
            cache(std::make_shared<const std::string>(*key));
        if (key || key.error() != Keychain::Error::notFound)
            co_return key;
    }
    co_return co_await store();
}

asio::awaitable<MCPKey::Key> MCPKey::renew() {
    co_await asking_.settled();
    co_return co_await store();
}

asio::awaitable<MCPKey::Key> MCPKey::store() {
    const auto turn = asking_.begin();
    // Should this be given up half way, the keychain is asked what it holds.
    cache(nullptr);
    auto key = freshKey(ids_);
    const auto written = co_await keychain_.write(std::string(keychainAccount), key);
    if (!written)
        co_return std::unexpected(written.error());
    cache(std::make_shared<const std::string>(key));
    co_return key;
}

std::string unreadableKey(Keychain::Error error) {
    if (error == Keychain::Error::absent)
        return std::string(explanation(error));
    return fmt::format(
        "Can't read the key from the Keychain. New Key makes a fresh one — AI clients set up with "
        "the old key then need the new command. {}",
        explanation(error));
}

bool isSameSecret(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    unsigned char difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

}  // namespace quillet
