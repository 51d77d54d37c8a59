#include "base/async/IoLoop.h"

#include <pthread.h>

#include <asio/post.hpp>

namespace quillet {

IoLoop::IoLoop(const std::string& name) : thread_([this] { io_.run(); }) {
    // The kernel keeps at most 15 characters of a thread's name.
    pthread_setname_np(thread_.native_handle(), name.substr(0, 15).c_str());
}

IoLoop::~IoLoop() {
    io_.stop();
    thread_.join();
    close();
}

void IoLoop::wake() {
    asio::post(io_, [this] { drain(); });
}

}  // namespace quillet
