#include "platform/absent/AbsentKeyPoster.h"

namespace quillet {

Modifiers AbsentKeyPoster::heldModifiers() {
    return {};
}

asio::awaitable<std::expected<void, KeyPoster::Error>> AbsentKeyPoster::postPaste(PasteStyle) {
    co_return std::unexpected(Error::unavailable);
}

asio::awaitable<std::expected<void, KeyPoster::Error>> AbsentKeyPoster::postReturn(ReturnStyle) {
    co_return std::unexpected(Error::unavailable);
}

asio::awaitable<std::expected<void, KeyPoster::Error>> AbsentKeyPoster::postKey(KeyChord) {
    co_return std::unexpected(Error::unavailable);
}

}  // namespace quillet
