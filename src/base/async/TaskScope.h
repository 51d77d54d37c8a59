#pragma once

#include <asio/awaitable.hpp>
#include <asio/cancellation_signal.hpp>
#include <cstdint>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string_view>

#include "base/async/Event.h"

namespace quillet {

class Loop;

/// Names one task of a scope; cancelling a task that has ended does nothing.
class TaskHandle {
public:
    TaskHandle() = default;
    /// Asks the task to end: the wait that it stands in throws operation_aborted.
    void cancel() const;
    [[nodiscard]] bool running() const;

private:
    friend class TaskScope;
    struct State;
    explicit TaskHandle(std::weak_ptr<State> state) : state_(std::move(state)) {}
    std::weak_ptr<State> state_;
};

/// Owns coroutines that run on one loop. Destroying the scope cancels them and returns only when
/// the last of them has ended, so a task may refer to whatever outlives its scope.
///
/// All calls belong to the loop's thread. A task ends by returning, or by letting
/// operation_aborted out. Any other exception is a bug and is handed to `onBug`.
class TaskScope {
public:
    using OnBug = std::function<void(std::string_view what)>;

    /// `onBug` is told of an exception that left a task; without one the program is ended.
    explicit TaskScope(Loop& loop, OnBug onBug = {});
    ~TaskScope();
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;

    /// Starts `task` at the loop's next turn.
    TaskHandle spawn(asio::awaitable<void> task);

    void cancelAll();
    /// Cancels everything and runs the loop until the last task has ended.
    void cancelAndJoin();
    /// Cancels everything and waits until the last task has ended. Not to be awaited by one of
    /// them.
    [[nodiscard]] asio::awaitable<void> cancelAndSettle();
    [[nodiscard]] bool empty() const { return tasks_.empty(); }

private:
    void ended(const std::exception_ptr& error);
    void tellOfBug(const std::exception& error);

    Loop& loop_;
    OnBug onBug_;
    std::list<std::shared_ptr<TaskHandle::State>> tasks_;
    Event ended_;  // set when a task has ended
};

}  // namespace quillet
