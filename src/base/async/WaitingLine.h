#pragma once

#include <asio/awaitable.hpp>
#include <iterator>
#include <list>

#include "base/async/Event.h"

namespace quillet {

/// Lets coroutines do something one after another, in the order in which they came. Belongs to one
/// thread, and outlives its places.
class WaitingLine {
public:
    /// A place in the line, from its end to the turn and until this goes. Whoever is cancelled
    /// leaves the line by that.
    class Place {
    public:
        explicit Place(WaitingLine& line) : line_(line) {
            line_.places_.emplace_back();
            here_ = std::prev(line_.places_.end());
            line_.callFirst();
        }
        ~Place() {
            line_.places_.erase(here_);
            line_.callFirst();
        }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        /// Waits until all that came before have gone.
        [[nodiscard]] asio::awaitable<void> turn() const { return here_->wait(); }

    private:
        WaitingLine& line_;
        std::list<Event>::iterator here_;
    };

private:
    void callFirst() {
        if (!places_.empty())
            places_.front().set();
    }

    std::list<Event> places_;  // the first one's turn it is
};

}  // namespace quillet
