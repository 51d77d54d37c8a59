#pragma once

#include "platform/FocusedField.h"

namespace quillet {

/// A desktop without accessibility: no field is ever known.
class AbsentFocusedField final : public FocusedField {
public:
    asio::awaitable<Security> security(pid_t) override { co_return Security::unknown; }
    asio::awaitable<std::optional<std::string>> selection(pid_t) override {
        co_return std::nullopt;
    }
};

}  // namespace quillet
