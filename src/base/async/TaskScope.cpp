#include "base/async/TaskScope.h"

#include <asio/bind_cancellation_slot.hpp>
#include <asio/co_spawn.hpp>
#include <asio/error.hpp>
#include <asio/multiple_exceptions.hpp>
#include <asio/system_error.hpp>
#include <exception>
#include <vector>

#include "base/async/Loop.h"

namespace quillet {

struct TaskHandle::State {
    asio::cancellation_signal signal;
};

void TaskHandle::cancel() const {
    if (const auto state = state_.lock())
        state->signal.emit(asio::cancellation_type::terminal);
}

bool TaskHandle::running() const {
    return !state_.expired();
}

TaskScope::TaskScope(Loop& loop, OnBug onBug) : loop_(loop), onBug_(std::move(onBug)) {}

TaskScope::~TaskScope() {
    cancelAndJoin();
}

/// A task that was waiting for the first of several things when it was cancelled ends with what
/// each of them threw.
void TaskScope::ended(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const asio::multiple_exceptions& several) {
        ended(several.first_exception());
    } catch (const asio::system_error& e) {
        if (e.code() != asio::error::operation_aborted)
            tellOfBug(e);
    } catch (const std::exception& e) {
        tellOfBug(e);
    }
}

/// To be called while the exception is handled.
void TaskScope::tellOfBug(const std::exception& error) {
    if (!onBug_)
        throw;
    onBug_(error.what());
}

TaskHandle TaskScope::spawn(asio::awaitable<void> task) {
    const auto place = tasks_.insert(tasks_.end(), std::make_shared<TaskHandle::State>());
    const std::weak_ptr<TaskHandle::State> weak = *place;
    asio::co_spawn(loop_.executor(), std::move(task),
                   asio::bind_cancellation_slot((*place)->signal.slot(),
                                                [this, place](const std::exception_ptr& error) {
                                                    // The signal must live until its slot is no
                                                    // longer in use.
                                                    const auto keep = std::move(*place);
                                                    tasks_.erase(place);
                                                    ended_.set();
                                                    if (error)
                                                        ended(error);
                                                }));
    return TaskHandle(weak);
}

void TaskScope::cancelAll() {
    // A cancelled task may end, and leave the list, while we walk it.
    std::vector<std::shared_ptr<TaskHandle::State>> tasks(tasks_.begin(), tasks_.end());
    for (const auto& task : tasks)
        task->signal.emit(asio::cancellation_type::terminal);
}

void TaskScope::cancelAndJoin() {
    while (!tasks_.empty()) {
        cancelAll();
        loop_.waitAndDrainOne();
    }
}

asio::awaitable<void> TaskScope::cancelAndSettle() {
    while (!tasks_.empty()) {
        ended_.reset();
        cancelAll();
        co_await ended_.wait();
    }
}

}  // namespace quillet
