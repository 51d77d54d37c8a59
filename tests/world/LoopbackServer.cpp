#include "world/LoopbackServer.h"

#include <asio/read.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>
#include <charconv>

#include "base/text/Text.h"

namespace quillet::world {

using asio::ip::tcp;

LoopbackServer::LoopbackServer()
    : acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
      thread_([this] { run(); }) {}

LoopbackServer::~LoopbackServer() {
    asio::error_code ec;
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
        for (const auto& socket : sockets_)
            socket->shutdown(tcp::socket::shutdown_both, ec);
    }
    // A last connection wakes the thread that waits for one.
    tcp::socket waker(context_);
    waker.connect(acceptor_.local_endpoint(), ec);
    thread_.join();
    for (auto& connection : connections_)
        connection.join();
}

void LoopbackServer::answer(Script script) {
    const std::scoped_lock lock(mutex_);
    scripts_.push_back(std::move(script));
}

void LoopbackServer::answer(int status, const std::string& body) {
    answer({"HTTP/1.1 " + std::to_string(status) +
                " Scripted\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body,
            Script::Ending::keep});
}

std::string LoopbackServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()) + path;
}

std::vector<std::string> LoopbackServer::requests() const {
    const std::scoped_lock lock(mutex_);
    return requests_;
}

void LoopbackServer::waitForRequests(std::size_t count) {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this, count] { return requests_.size() >= count; });
}

void LoopbackServer::run() {
    while (true) {
        asio::error_code ec;
        const auto socket = std::make_shared<tcp::socket>(context_);
        acceptor_.accept(*socket, ec);
        const std::scoped_lock lock(mutex_);
        if (ending_)
            return;
        sockets_.push_back(socket);
        connections_.emplace_back([this, socket] { serve(socket); });
    }
}

std::string LoopbackServer::readRequest(tcp::socket& socket) {
    std::string bytes;
    asio::error_code ec;
    const auto head = asio::read_until(socket, asio::dynamic_buffer(bytes), "\r\n\r\n", ec);
    if (ec)
        return {};
    const auto lowered = asciiLowered(std::string_view(bytes).substr(0, head));
    std::size_t length = 0;
    constexpr std::string_view name = "content-length: ";
    if (const auto found = lowered.find(name); found != std::string::npos)
        std::from_chars(lowered.data() + found + name.size(), lowered.data() + lowered.size(),
                        length);
    if (bytes.size() < head + length)
        asio::read(socket, asio::dynamic_buffer(bytes),
                   asio::transfer_exactly(head + length - bytes.size()), ec);
    return bytes;
}

LoopbackServer::Script LoopbackServer::nextScript(std::string request) {
    const std::scoped_lock lock(mutex_);
    const bool warmUp = request.starts_with("HEAD ");
    requests_.push_back(std::move(request));
    arrived_.notify_all();
    if (warmUp || scripts_.empty())
        return {"HTTP/1.1 404 Unscripted\r\nContent-Length: 0\r\n\r\n", Script::Ending::keep};
    auto script = scripts_.front();
    scripts_.erase(scripts_.begin());
    return script;
}

void LoopbackServer::serve(const std::shared_ptr<tcp::socket>& socket) {
    asio::error_code ec;
    while (!ec) {
        auto request = readRequest(*socket);
        if (request.empty())
            return;
        const auto script = nextScript(std::move(request));
        asio::write(*socket, asio::buffer(script.bytes), ec);
        switch (script.ending) {
            case Script::Ending::keep:
                break;
            case Script::Ending::close:
                socket->shutdown(tcp::socket::shutdown_both, ec);
                return;
            case Script::Ending::reset: {
                const std::scoped_lock lock(mutex_);
                socket->set_option(asio::socket_base::linger(true, 0), ec);
                socket->close(ec);
                return;
            }
            case Script::Ending::hang:
                // Ends when the client goes, or with the server.
                (void)readRequest(*socket);
                return;
        }
    }
}

}  // namespace quillet::world
