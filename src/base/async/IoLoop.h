#pragma once

#include <asio/io_context.hpp>
#include <string>
#include <thread>

#include "base/async/Loop.h"

namespace quillet {

/// A queue with a thread of its own that waits for sockets too: what waits for them by way of
/// `io()` goes on on this thread.
class IoLoop final : public Loop {
public:
    /// The thread carries `name` in debuggers and `top`.
    explicit IoLoop(const std::string& name);
    /// Drops what is queued. Every task that runs here must have ended.
    ~IoLoop() override;

    [[nodiscard]] asio::io_context& io() { return io_; }

private:
    void wake() override;

    asio::io_context io_{1};
    asio::executor_work_guard<asio::io_context::executor_type> work_ = asio::make_work_guard(io_);
    std::thread thread_;
};

}  // namespace quillet
