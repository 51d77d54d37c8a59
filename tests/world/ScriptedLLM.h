#pragma once

#include <asio/system_error.hpp>
#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/http/HttpClient.h"
#include "world/SimLoop.h"

namespace quillet::world {

/// An OpenAI-compatible language model. It answers what the story scripts, one answer a request,
/// and otherwise repeats the last thing that it was told.
class ScriptedLLM final : public HttpClient {
public:
    explicit ScriptedLLM(SimScheduler& scheduler) : scheduler_(scheduler) {}

    /// A response as such servers write it.
    static std::string responseWith(const std::string& content) {
        const nlohmann::json response = {
            {"choices",
             nlohmann::json::array({{{"message", {{"role", "assistant"}, {"content", content}}},
                                     {"finish_reason", "stop"}}})}};
        return response.dump();
    }

    void say(const std::string& content) { answer(200, responseWith(content)); }
    void answer(long status, std::string body) {
        HttpResponse response;
        response.status = status;
        response.body = std::move(body);
        answers_.emplace_back(std::move(response));
    }
    void fail(HttpError::Kind kind, std::string message = "scripted") {
        answers_.emplace_back(std::unexpected(HttpError{kind, std::move(message)}));
    }

    asio::awaitable<Result> perform(HttpRequest request) override {
        requests.push_back(std::move(request));
        const auto body = lastBody();
        bool cancelled = false;
        try {
            co_await scheduler_.sleep(delay);
        } catch (const asio::system_error&) {
            cancelled = true;
        }
        if (cancelled)
            co_return std::unexpected(HttpError{HttpError::Kind::cancelled, "cancelled"});
        if (answers_.empty()) {
            HttpResponse echo;
            echo.status = 200;
            const std::string content = body["messages"].back()["content"];
            echo.body = responseWith(rewrite ? rewrite(content) : content);
            co_return echo;
        }
        auto next = std::move(answers_.front());
        answers_.pop_front();
        co_return next;
    }
    void prewarm(std::string_view url) override { prewarmed.emplace_back(url); }

    [[nodiscard]] nlohmann::json lastBody() const {
        return nlohmann::json::parse(*requests.back().body);
    }
    [[nodiscard]] std::optional<std::string> lastHeader(std::string_view name) const {
        for (const auto& [one, value] : requests.back().headers) {
            if (one == name)
                return value;
        }
        return std::nullopt;
    }

    std::vector<HttpRequest> requests;
    std::vector<std::string> prewarmed;
    std::function<std::string(const std::string&)> rewrite;  ///< instead of repeating
    std::chrono::milliseconds delay{300};

private:
    SimScheduler& scheduler_;
    std::deque<Result> answers_;
};

}  // namespace quillet::world
