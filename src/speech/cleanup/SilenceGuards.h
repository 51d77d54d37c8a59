#pragma once

#include <string_view>

namespace quillet {

/// Whether what a recogniser returned is no speech at all: an echo of the prompt that it was sent,
/// text in another script than the language's, or nothing but subtitle credits. `language` is the
/// setting.
[[nodiscard]] bool isSilence(std::string_view transcript, std::string_view promptSent,
                             std::string_view language);

/// Whether a transcript holds neither words nor symbols: what a recogniser makes of a cough.
[[nodiscard]] bool isOnlyMarks(std::string_view transcript);

}  // namespace quillet
