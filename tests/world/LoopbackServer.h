#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/thread_pool.hpp>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillet::world {

/// A server on the loopback interface that answers with the bytes that the test scripts and keeps
/// the bytes of every request.
class LoopbackServer {
public:
    /// What is done with one connection: what is written, and how it ends.
    struct Script {
        enum class Ending {
            keep,   ///< the connection is used again for the next request
            close,  ///< closed in good order
            reset,  ///< torn down
            hang,   ///< left open without a further byte, until the client or the server ends
        };
        std::string bytes;
        Ending ending = Ending::close;
    };

    LoopbackServer();
    ~LoopbackServer();

    /// Scripts the answer to the next request.
    void answer(Script script);
    void answer(int status, const std::string& body);

    [[nodiscard]] std::string url(const std::string& path) const;
    [[nodiscard]] std::vector<std::string> requests() const;
    /// Waits until this many requests have arrived.
    void waitForRequests(std::size_t count);

private:
    void run();
    void serve(const std::shared_ptr<asio::ip::tcp::socket>& socket);
    [[nodiscard]] Script nextScript(std::string request);
    static std::string readRequest(asio::ip::tcp::socket& socket);

    asio::io_context context_;
    asio::ip::tcp::acceptor acceptor_;
    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Script> scripts_;                                  // guarded by mutex_
    std::vector<std::string> requests_;                            // guarded by mutex_
    std::vector<std::shared_ptr<asio::ip::tcp::socket>> sockets_;  // guarded by mutex_
    bool ending_ = false;                                          // guarded by mutex_
    std::vector<std::thread> connections_;                         // the accepting thread's own
    std::thread thread_;
};

}  // namespace quillet::world
