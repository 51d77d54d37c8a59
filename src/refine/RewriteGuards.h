#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "refine/DictationPrompt.h"

namespace quillet {

/// Why a rewrite looks wrong by its size, its lines or its script; none for one that may be used.
[[nodiscard]] std::optional<std::string> rejectionReason(std::string_view raw,
                                                         std::string_view reply,
                                                         DictationPrompt::CleanupStyle style);

/// Whether a model's thinking is left over in a reply. What was said itself does not count.
[[nodiscard]] bool holdsThinking(std::string_view reply, std::string_view raw);

/// Whether the reply answers a dictated question, or has nothing to do with what was said. Unsure,
/// it says no: what the models' editors do to a text must pass.
[[nodiscard]] bool answersInstead(std::string_view raw, std::string_view reply);

}  // namespace quillet
