#include "base/async/SerialQueue.h"

#include <pthread.h>

#include <asio/thread_pool.hpp>
#include <future>

namespace quillet {

struct SerialQueue::Thread {
    asio::thread_pool pool{1};
};

SerialQueue::SerialQueue(const std::string& name)
    : thread_(std::make_unique<Thread>()), executor_(thread_->pool.get_executor()) {
    // The kernel keeps at most 15 characters of a thread's name.
    post([shortName = name.substr(0, 15)] {
        pthread_setname_np(pthread_self(), shortName.c_str());
    });
}

SerialQueue::SerialQueue(asio::any_io_executor executor) : executor_(std::move(executor)) {}

SerialQueue::~SerialQueue() {
    if (thread_)
        thread_->pool.join();
}

void SerialQueue::post(std::move_only_function<void()> work) {
    asio::post(executor_, std::move(work));
}

void SerialQueue::waitUntilIdle() {
    if (!thread_)
        return;
    std::promise<void> reached;
    asio::post(executor_, [&reached] { reached.set_value(); });
    reached.get_future().wait();
}

}  // namespace quillet
