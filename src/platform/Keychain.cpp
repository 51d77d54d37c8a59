#include "platform/Keychain.h"

#include "base/text/Translation.h"

namespace quillet {

std::string_view explanation(Keychain::Error error) {
    switch (error) {
        case Keychain::Error::notFound:
            return toTranslate("No such key is stored.");
        case Keychain::Error::locked:
            return toTranslate(
                "The keyring is locked. Unlock it (it opens when you log in, or in your "
                "desktop's "
                "password application) and try again.");
        case Keychain::Error::absent:
            return toTranslate(
                "No keyring is running. Install and start one, for example gnome-keyring, and "
                "try again.");
        case Keychain::Error::failed:
            return toTranslate(
                "The keyring did not answer. Log out and in again, then try once more.");
    }
    return {};
}

}  // namespace quillet
