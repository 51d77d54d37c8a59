#pragma once

#include <expected>
#include <string>

#include "settings/QuilletSettings.h"

namespace quillet {

/// Where chat completions are asked for: the base address of the settings, with the account's id
/// and the path put in. The error is a sentence on what is wrong with the base address, and
/// repeats nothing of it.
[[nodiscard]] std::expected<std::string, std::string> chatAddress(const QuilletSettings& settings);

}  // namespace quillet
