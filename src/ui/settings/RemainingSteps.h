#pragma once

#include <QStringList>

#include "settings/QuilletSettings.h"

namespace quillet {

/// What is left to do before the services that the settings name are used, a sentence each. Keys
/// aside, which say of themselves what is the matter.
[[nodiscard]] QStringList remainingSteps(const QuilletSettings& settings);

}  // namespace quillet
