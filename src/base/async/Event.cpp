#include "base/async/Event.h"

#include <asio/associated_cancellation_slot.hpp>
#include <asio/associated_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/error.hpp>
#include <asio/error_code.hpp>
#include <asio/post.hpp>
#include <asio/use_awaitable.hpp>
#include <map>

namespace quillet {

struct Event::State {
    using Resume = std::move_only_function<void(asio::error_code)>;

    bool set = false;
    std::uint64_t nextId = 1;
    std::map<std::uint64_t, Resume> waiters;

    void release(asio::error_code ec) {
        auto all = std::move(waiters);
        waiters.clear();
        for (auto& [id, resume] : all)
            resume(ec);
    }
};

Event::Event() : state_(std::make_shared<State>()) {}

Event::~Event() {
    state_->release(asio::error::operation_aborted);
}

void Event::set() {
    state_->set = true;
    state_->release({});
}

void Event::reset() {
    state_->set = false;
}

bool Event::isSet() const {
    return state_->set;
}

asio::awaitable<void> Event::wait() {
    if (state_->set)
        co_return;
    auto start = [state = state_](auto handler) {
        auto slot = asio::get_associated_cancellation_slot(handler);
        auto ex = asio::get_associated_executor(handler);
        const auto id = state->nextId++;
        state->waiters[id] = [h = std::move(handler), ex](asio::error_code ec) mutable {
            asio::post(ex, [h = std::move(h), ec]() mutable { std::move(h)(ec); });
        };
        if (slot.is_connected()) {
            slot.assign([weak = std::weak_ptr(state), id](asio::cancellation_type) {
                const auto s = weak.lock();
                if (!s)
                    return;
                if (auto node = s->waiters.extract(id))
                    node.mapped()(asio::error::operation_aborted);
            });
        }
    };
    co_await asio::async_initiate<const asio::use_awaitable_t<>, void(asio::error_code)>(
        start, asio::use_awaitable);
}

}  // namespace quillet
