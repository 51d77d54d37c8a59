#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/CommandContext.h"

namespace quillet {

/// How long a command waits for work that a language model does.
inline constexpr std::chrono::hours longWork{2};

/// Asks the running application, prints its answer where --json was given, else lets `say` tell of
/// it.
ExitCode ask(CommandContext& context, std::string_view method, const nlohmann::json& params,
             std::chrono::seconds longestWait,
             const std::function<void(const nlohmann::json& answer)>& say);

}  // namespace quillet
