#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quillet {

/// What recognition is primed with when the caller has nothing better.
extern const std::string_view defaultRecognitionPrompt;

/// The same, and then names and terms that the user says: as many as a recogniser heeds.
[[nodiscard]] std::string recognitionPrompt(std::span<const std::string> terms);
inline constexpr std::size_t mostTermsInRecognitionPrompt = 40;

}  // namespace quillet
