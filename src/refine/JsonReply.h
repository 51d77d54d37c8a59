#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string_view>

namespace quillet {

/// The JSON object that a language model replied with, freed of the reasoning blocks
/// (<think>…</think>) and of the code fence that models put around it, and of a sentence before or
/// after it. None when there is no object, or when it is nested without reason. Takes any bytes.
[[nodiscard]] std::optional<nlohmann::json> jsonOfReply(std::string_view reply);

/// A text of an object; empty when there is none by that name.
[[nodiscard]] std::string textOf(const nlohmann::json& object, std::string_view name);

}  // namespace quillet
