#pragma once

#include <string>
#include <string_view>

#include "settings/QuilletSettings.h"

namespace quillet {

/// The address of the speech server that these settings recognise with; empty for the device, and
/// where the address still lacks the account that it is for.
[[nodiscard]] std::string speechServer(const QuilletSettings& settings);

/// How the engine that these settings recognise with is called in messages.
[[nodiscard]] std::string_view speechEngineName(const QuilletSettings& settings);

/// The name under which the key of a speech server is kept.
[[nodiscard]] std::string_view speechKeyName(std::string_view address);

}  // namespace quillet
