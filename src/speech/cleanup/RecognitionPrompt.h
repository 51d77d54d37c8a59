#pragma once

#include <string_view>

namespace quillet {

/// What recognition is primed with when the caller has nothing better.
extern const std::string_view defaultRecognitionPrompt;

}  // namespace quillet
