#pragma once

#include "platform/InputSource.h"

namespace quillet {

/// A desktop without input sources: there is nothing that would have to be switched.
class AbsentInputSource final : public InputSource {
public:
    std::string current() override { return {}; }
    bool canTypeAscii() override { return true; }
    bool select(std::string_view) override { return false; }
};

}  // namespace quillet
