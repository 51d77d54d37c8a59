#pragma once

#include "platform/FocusedField.h"

namespace quillet {

/// A desktop without accessibility: no field is ever known.
class AbsentFocusedField final : public FocusedField {
public:
    asio::awaitable<Security> security(pid_t) override { co_return Security::unknown; }
    asio::awaitable<Selection> selection(pid_t) override { co_return Selection{}; }
};

}  // namespace quillet
