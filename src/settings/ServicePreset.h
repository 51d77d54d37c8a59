#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "settings/QuilletSettings.h"

namespace quillet {

/// A speech service and a language model that go well together, set up by one choice. Keys are no
/// part of it.
struct ServicePreset {
    std::string_view id;
    std::string_view name;
    std::string_view note;  ///< one line, for people
    std::string_view sttEndpoint;
    std::string_view sttModel;
    std::string_view llmBaseURL;
    std::string_view llmModel;
    std::optional<std::string_view> keyURL;  ///< where the user gets a key
};

/// All of them, in the order in which they are offered.
[[nodiscard]] std::span<const ServicePreset> servicePresets();
[[nodiscard]] const ServicePreset* findPreset(std::string_view id);

/// Puts the preset's services into the settings. The placeholder of an account stays in the
/// addresses, so that the account can be given, and changed, afterwards.
void applyPreset(QuilletSettings& settings, const ServicePreset& preset);
/// The preset whose services the settings name; none for any other combination.
[[nodiscard]] const ServicePreset* presetInForce(const QuilletSettings& settings);

}  // namespace quillet
