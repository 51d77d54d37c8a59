#pragma once

#include <asio/any_io_executor.hpp>
#include <asio/awaitable.hpp>
#include <cstdint>
#include <functional>
#include <memory>

namespace quillet {

/// A flag that coroutines can wait for. Once set it stays set until `reset`.
/// Everything belongs to one thread, the one that the waiting coroutines run on.
class Event {
public:
    Event();
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void set();
    void reset();
    [[nodiscard]] bool isSet() const;

    /// Returns at once when set. Cancelled, it throws operation_aborted. An event that is
    /// destroyed releases its waiters as if cancelled.
    [[nodiscard]] asio::awaitable<void> wait();

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace quillet
