#include "mcp/MCPKey.h"

#include <fmt/format.h>

#include "base/text/Text.h"

namespace quillet {

namespace {

constexpr std::string_view keyPrefix = "qk_";
constexpr std::size_t keyLength = keyPrefix.size() + 64;

std::string freshKey(IdSource& ids) {
    std::string digits = ids.uuid() + ids.uuid();
    std::erase(digits, '-');
    return std::string(keyPrefix) + asciiLowered(digits);
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

/// The keychain is being asked, as long as this lives.
struct MCPKey::Turn {
    MCPKey& key;
    explicit Turn(MCPKey& asking) : key(asking) {
        key.isAsking_ = true;
        key.lastError_ = Keychain::Error::failed;  // should it be given up
        key.answered_.reset();
    }
    ~Turn() {
        key.isAsking_ = false;
        key.answered_.set();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
};

asio::awaitable<MCPKey::Key> MCPKey::read() {
    if (const auto key = cached())
        co_return *key;
    if (!isAsking_)
        co_return co_await ask();
    // However many clients knock meanwhile, they share the answer.
    co_await answered_.wait();
    const auto key = cached();
    co_return key ? Key(*key) : std::unexpected(lastError_);
}

asio::awaitable<MCPKey::Key> MCPKey::renew() {
    while (isAsking_)
        co_await answered_.wait();
    const Turn turn(*this);
    co_return co_await store();
}

asio::awaitable<MCPKey::Key> MCPKey::ask() {
    const Turn turn(*this);
    auto key = co_await keychain_.read(std::string(keychainAccount));
    if (!key && key.error() == Keychain::Error::notFound)
        co_return co_await store();
    if (key)
        cache(std::make_shared<const std::string>(*key));
    else
        lastError_ = key.error();
    co_return key;
}

asio::awaitable<MCPKey::Key> MCPKey::store() {
    // Should this be given up half way, the keychain is asked what it holds.
    cache(nullptr);
    auto key = freshKey(ids_);
    const auto written = co_await keychain_.write(std::string(keychainAccount), key);
    if (!written) {
        lastError_ = written.error();
        co_return std::unexpected(lastError_);
    }
    cache(std::make_shared<const std::string>(key));
    co_return key;
}

bool MCPKey::isKeyLike(std::string_view text) {
    return text.size() == keyLength && text.starts_with(keyPrefix);
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
