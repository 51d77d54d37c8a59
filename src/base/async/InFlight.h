#pragma once

#include <asio/awaitable.hpp>
#include <utility>

#include "base/async/Event.h"

namespace quillet {

/// Counts what is under way beside its owner, so that somebody can wait until nothing is. Belongs
/// to one thread, and outlives its tokens.
class InFlight {
public:
    /// One thing that is under way, as long as this lives.
    class Token {
    public:
        explicit Token(InFlight& owner) : owner_(&owner) {
            ++owner_->count_;
            owner_->idle_.reset();
        }
        Token(Token&& other) noexcept : owner_(std::exchange(other.owner_, nullptr)) {}
        Token& operator=(Token&&) = delete;
        ~Token() {
            if (owner_ != nullptr && --owner_->count_ == 0)
                owner_->idle_.set();
        }

    private:
        InFlight* owner_;
    };

    InFlight() { idle_.set(); }

    [[nodiscard]] Token begin() { return Token(*this); }
    [[nodiscard]] bool isIdle() const { return count_ == 0; }
    /// Waits until nothing is under way.
    [[nodiscard]] asio::awaitable<void> settled() {
        while (count_ > 0)
            co_await idle_.wait();
    }

private:
    int count_ = 0;
    Event idle_;  // set while nothing is under way
};

}  // namespace quillet
