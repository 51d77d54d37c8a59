#include "platform/absent/AbsentKeychain.h"

namespace quillet {

asio::awaitable<std::expected<std::string, Keychain::Error>> AbsentKeychain::read(std::string) {
    co_return std::unexpected(Error::absent);
}

asio::awaitable<std::expected<void, Keychain::Error>> AbsentKeychain::write(std::string,
                                                                            std::string) {
    co_return std::unexpected(Error::absent);
}

asio::awaitable<std::expected<void, Keychain::Error>> AbsentKeychain::unlock() {
    co_return std::unexpected(Error::absent);
}

}  // namespace quillet
