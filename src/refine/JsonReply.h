#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// The JSON object that a language model replied with, freed of the reasoning blocks
/// (<think>…</think>) and of the code fence that models put around it, and of a sentence before or
/// after it. None when there is no object, when it is nested without reason, and when there are
/// two, for one of them may be quoted from what the model was given. Takes any bytes.
[[nodiscard]] std::optional<nlohmann::json> jsonOfReply(std::string_view reply);

// Of an object that a model wrote; what is of another type than asked for counts as absent.

/// Empty when there is no text by that name.
[[nodiscard]] std::string textOf(const nlohmann::json& object, std::string_view name);
/// Null when there is no list by that name.
[[nodiscard]] const nlohmann::json* listOf(const nlohmann::json& object, std::string_view name);
/// The texts of a list by that name.
[[nodiscard]] std::vector<std::string> textsOf(const nlohmann::json& object, std::string_view name);

}  // namespace quillet
