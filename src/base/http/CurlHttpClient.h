#pragma once

#include <memory>

#include "base/http/HttpClient.h"

namespace quillet {

/// HttpClient over libcurl: all transfers on one thread of its own, connections kept and reused.
class CurlHttpClient final : public HttpClient {
public:
    CurlHttpClient();
    /// Abandons what is under way.
    ~CurlHttpClient() override;

    asio::awaitable<Result> perform(HttpRequest request) override;
    void prewarm(std::string_view url) override;

private:
    class Engine;
    std::unique_ptr<Engine> engine_;
};

}  // namespace quillet
