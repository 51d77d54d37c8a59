#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quillet {

/// What a chord asks for.
enum class HotkeyMode : std::uint8_t { dictate, command, translate, live, amend };

/// What a dictation is meant to do.
enum class VoiceIntent : std::uint8_t { dictate, command, translate };

/// "dictate", "command", … as logs and the command line write them.
[[nodiscard]] std::string_view nameOf(HotkeyMode mode);
[[nodiscard]] std::string_view nameOf(VoiceIntent intent);
[[nodiscard]] std::optional<HotkeyMode> hotkeyModeNamed(std::string_view name);

}  // namespace quillet
