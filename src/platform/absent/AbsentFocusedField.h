#pragma once

#include "platform/FocusedField.h"

namespace quillet {

/// A desktop without accessibility: no field is ever known.
class AbsentFocusedField final : public FocusedField {
public:
    asio::awaitable<Security> security(pid_t) override { co_return Security::unknown; }
    asio::awaitable<Selection> selection(pid_t) override { co_return Selection{}; }
    asio::awaitable<std::optional<Surroundings>> surroundings(pid_t, Extent) override {
        co_return std::nullopt;
    }
    asio::awaitable<Selecting> select(pid_t, std::string) override {
        co_return Selecting::unreadable;
    }
    asio::awaitable<std::string> visibleText(pid_t, std::size_t) override {
        co_return std::string();
    }
    asio::awaitable<std::optional<DesktopRect>> caretRect(pid_t) override {
        co_return std::nullopt;
    }
};

}  // namespace quillet
