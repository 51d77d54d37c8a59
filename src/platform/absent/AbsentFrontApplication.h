#pragma once

#include "platform/FrontApplication.h"

namespace quillet {

/// A desktop that does not tell which application is in front.
class AbsentFrontApplication final : public FrontApplication {
public:
    std::optional<FrontApp> current() override { return std::nullopt; }
};

}  // namespace quillet
