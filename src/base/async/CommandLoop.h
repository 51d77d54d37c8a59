#pragma once

#include <asio/awaitable.hpp>
#include <exception>
#include <optional>
#include <utility>

#include "base/async/Loop.h"
#include "base/async/TaskScope.h"

namespace quillet {

/// The main queue of a program without windows: drained while the program waits for something.
class CommandLoop final : public Loop {
public:
    CommandLoop() = default;
    ~CommandLoop() override { close(); }

    /// Runs the task to its end and returns its result.
    template <class T>
    T run(asio::awaitable<T> task) {
        std::optional<T> result;
        TaskScope scope(*this);
        auto keep = [](asio::awaitable<T> inner, std::optional<T>& into) -> asio::awaitable<void> {
            into.emplace(co_await std::move(inner));
        };
        scope.spawn(keep(std::move(task), result));
        while (!scope.empty())
            waitAndDrainOne();
        return std::move(result).value();
    }

private:
    void wake() override {}
};

}  // namespace quillet
