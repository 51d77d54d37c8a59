#pragma once

#include <QString>
#include <expected>
#include <string>

#include "platform/Keychain.h"

namespace quillet {

/// What is known of the key of a service.
struct KeyState {
    std::expected<bool, Keychain::Error> isStored;  ///< or why that cannot be told
    std::string givenFor;  ///< the server that it is sent to; empty while it belongs to none
    std::string wantedBy;  ///< the server that the settings name; empty where they name none

    /// Whether there is a key that the service would get.
    [[nodiscard]] bool isUsable() const;
    /// A sentence for the user, which says what to do where something is the matter.
    [[nodiscard]] QString sentence() const;
};

}  // namespace quillet
