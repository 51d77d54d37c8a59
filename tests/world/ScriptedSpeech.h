#pragma once

#include <asio/experimental/as_tuple.hpp>
#include <asio/use_awaitable.hpp>
#include <deque>
#include <optional>
#include <set>

#include "audio/Wav.h"
#include "base/http/HttpClient.h"
#include "speech/OnDeviceTranscriber.h"
#include "world/SimLoop.h"
#include "world/SpokenWords.h"

namespace quillet::world {

/// A recogniser that reads back what was said.
class ScriptedTranscriber final : public OnDeviceTranscriber {
public:
    ScriptedTranscriber(SimScheduler& scheduler, const SpokenWords& words)
        : scheduler_(scheduler), words_(words) {}

    std::expected<void, Failure> supports(std::string_view language) override {
        if (!languages.contains(std::string(language)))
            return std::unexpected(Failure::unsupportedLanguage);
        return {};
    }
    std::unique_ptr<Stream> stream(std::string, OnPartial onPartial) override {
        return std::make_unique<ScriptedStream>(*this, std::move(onPartial));
    }
    asio::awaitable<std::expected<std::string, Failure>> recognise(
        std::shared_ptr<const std::vector<std::int16_t>> samples, std::string) override {
        co_await scheduler_.sleep(decodeTime);
        if (failure)
            co_return std::unexpected(*failure);
        co_return words_.transcript(*samples);
    }

    std::set<std::string> languages = {"en", "mixed"};
    std::optional<Failure> failure;
    std::chrono::milliseconds decodeTime{20};

private:
    class ScriptedStream final : public Stream {
    public:
        ScriptedStream(ScriptedTranscriber& owner, OnPartial onPartial)
            : owner_(owner), onPartial_(std::move(onPartial)) {}
        void feed(std::span<const std::int16_t> samples) override {
            samples_.insert(samples_.end(), samples.begin(), samples.end());
            if (onPartial_)
                onPartial_(owner_.words_.transcript(samples_));
        }
        asio::awaitable<std::expected<std::string, Failure>> finish() override {
            auto all = std::make_shared<const std::vector<std::int16_t>>(samples_);
            co_return co_await owner_.recognise(std::move(all), "");
        }

    private:
        ScriptedTranscriber& owner_;
        OnPartial onPartial_;
        std::vector<std::int16_t> samples_;
    };

    SimScheduler& scheduler_;
    const SpokenWords& words_;
};

/// An OpenAI-compatible speech server that reads back what was said, unless the story scripts
/// another answer.
class ScriptedServer final : public HttpClient {
public:
    using Reply = std::expected<HttpResponse, HttpError>;
    struct Scripted {
        std::chrono::milliseconds delay{};
        long status = 200;
        std::string body;
    };

    ScriptedServer(SimScheduler& scheduler, const SpokenWords& words)
        : scheduler_(scheduler), words_(words) {}

    asio::awaitable<Result> perform(HttpRequest request) override {
        requests.push_back(request);
        const UnderWay counted(underWay);
        if (respond) {
            auto scripted = respond(request);
            if (!co_await elapses(scripted.delay))
                co_return cancelled();
            HttpResponse response;
            response.status = scripted.status;
            response.body = std::move(scripted.body);
            if (request.onBody && request.onBody(response.body))
                response.body.clear();
            co_return response;
        }
        if (!co_await elapses(delay))
            co_return cancelled();
        if (!replies.empty()) {
            auto reply = std::move(replies.front());
            replies.pop_front();
            co_return reply;
        }
        co_return transcribe(request);
    }
    void prewarm(std::string_view url) override { prewarmed.emplace_back(url); }

    void answer(long status, std::string body) {
        HttpResponse response;
        response.status = status;
        response.body = std::move(body);
        replies.emplace_back(std::move(response));
    }
    void fail(HttpError::Kind kind) {
        replies.emplace_back(std::unexpected(HttpError{kind, "scripted"}));
    }

    std::vector<HttpRequest> requests;
    std::vector<std::string> prewarmed;
    std::deque<Reply> replies;
    std::function<Scripted(const HttpRequest&)> respond;  ///< answers everything, where it is set
    std::chrono::milliseconds delay{200};
    int underWay = 0;  ///< requests that are neither answered nor cancelled

private:
    class UnderWay {
    public:
        explicit UnderWay(int& count) : count_(count) { ++count_; }
        ~UnderWay() { --count_; }
        UnderWay(const UnderWay&) = delete;
        UnderWay& operator=(const UnderWay&) = delete;

    private:
        int& count_;
    };

    /// As the real client: a request that is cancelled ends with an error.
    static Reply cancelled() {
        return std::unexpected(HttpError{HttpError::Kind::cancelled, "cancelled"});
    }
    asio::awaitable<bool> elapses(Scheduler::Duration time) {
        const auto [error] = co_await scheduler_.asyncSleepUntil(
            scheduler_.now() + time, asio::experimental::as_tuple(asio::use_awaitable));
        co_return !error;
    }
    Reply transcribe(const HttpRequest& request) const {
        HttpResponse response;
        response.status = 200;
        const auto at = request.body ? request.body->find("RIFF") : std::string::npos;
        std::string text;
        if (at != std::string::npos) {
            const auto samples = decodeOwnWav(std::string_view(*request.body).substr(at));
            text = samples ? words_.transcript(*samples) : "";
        }
        response.body = "{\"text\": \"" + text + "\"}";
        return response;
    }

    SimScheduler& scheduler_;
    const SpokenWords& words_;
};

}  // namespace quillet::world
