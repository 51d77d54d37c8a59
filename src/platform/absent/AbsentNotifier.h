#pragma once

#include "platform/Notifier.h"

namespace quillet {

/// A desktop without notifications.
class AbsentNotifier final : public Notifier {
public:
    void show(std::string, std::string) override {}
};

}  // namespace quillet
