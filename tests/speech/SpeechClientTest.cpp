#include "speech/SpeechClient.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/async/CommandLoop.h"
#include "base/http/CurlHttpClient.h"
#include "base/http/Url.h"
#include "platform/linux/SteadyScheduler.h"
#include "world/LoopbackServer.h"
#include "world/World.h"

namespace quillet::world {
namespace {

using nlohmann::json;

constexpr const char* cloudflareUrl =
    "https://api.cloudflare.com/client/v4/accounts/0123456789abcdef0123456789ABCDEF/ai/run/@cf/"
    "openai/whisper-large-v3-turbo";

TranscriptionRequest request(std::string url) {
    TranscriptionRequest rq;
    rq.url = std::move(url);
    rq.audio = std::make_shared<TranscriptionRequest::Audio>(
        TranscriptionRequest::Audio{"BYTES", "wav", 1.5});
    return rq;
}

TEST(TranscriptionRequest, IsWrittenToTheByteForAnOpenAiCompatibleServer) {
    SimIds ids;
    auto rq = request("https://speech.example/v1/audio/transcriptions");
    rq.language = "en";
    rq.model = "whisper-1";
    rq.prompt = "hint";
    rq.apiKey = "key";
    rq.vadOff = true;
    const auto http = rq.build(ids);
    const std::string b = "Boundary-00000000-0000-4000-8000-000000000001";
    const auto field = [&b](const std::string& name, const std::string& value) {
        return "--" + b + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" +
               value + "\r\n";
    };
    EXPECT_EQ(*http.body,
              field("language", "en") + field("temperature", "0") + field("model", "whisper-1") +
                  field("prompt", "hint") + field("vad", "0") + field("strict", "1") + "--" + b +
                  "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"audio.wav\"\r\n"
                  "Content-Type: audio/wav\r\n\r\nBYTES\r\n--" +
                  b + "--\r\n");
    const std::vector<std::pair<std::string, std::string>> headers = {
        {"Cache-Control", "no-cache"},
        {"Content-Type", "multipart/form-data; boundary=" + b},
        {"Authorization", "Bearer key"}};
    EXPECT_EQ(http.headers, headers);
    EXPECT_EQ(http.method, "POST");
}

TEST(TranscriptionRequest, LeavesOutWhatIsNotGivenAndWhatOfficialHostsRefuse) {
    SimIds ids;
    auto rq = request("https://API.OpenAI.com/v1/audio/transcriptions");
    rq.vadOff = true;
    const auto official = *rq.build(ids).body;
    for (const auto* name : {"vad", "strict", "model", "prompt", "language"})
        EXPECT_EQ(official.find("name=\"" + std::string(name) + "\""), std::string::npos) << name;
    EXPECT_NE(official.find("name=\"temperature\""), std::string::npos);
    EXPECT_EQ(rq.build(ids).headers.size(), 2U);

    const std::pair<const char*, const char*> types[] = {{"m4a", "audio/mp4"},
                                                         {"mp4", "audio/mp4"},
                                                         {"mp3", "audio/mpeg"},
                                                         {"MP3", "application/octet-stream"}};
    for (const auto& [extension, type] : types) {
        rq.audio = std::make_shared<TranscriptionRequest::Audio>(
            TranscriptionRequest::Audio{"", extension, 0});
        EXPECT_NE(rq.build(ids).body->find("Content-Type: " + std::string(type) + "\r\n"),
                  std::string::npos);
    }
}

TEST(TranscriptionRequest, IsJsonForCloudflare) {
    SimIds ids;
    auto rq = request(cloudflareUrl);
    rq.prompt = "甲：乙";
    rq.language = "zh";
    rq.apiKey = "token";
    const auto body = json::parse(*rq.build(ids).body);
    const json expected = {{"vad_filter", false},
                           {"condition_on_previous_text", false},
                           {"compression_ratio_threshold", 2.0},
                           {"no_speech_threshold", 0.6},
                           {"log_prob_threshold", -1.0},
                           {"hallucination_silence_threshold", 2},
                           {"beam_size", 5},
                           {"audio", "QllURVM="},
                           {"initial_prompt", "甲 乙"},
                           {"language", "zh"}};
    EXPECT_EQ(body, expected);
    EXPECT_TRUE(body["hallucination_silence_threshold"].is_number_integer());
    rq.prompt = "\xff not text";
    EXPECT_EQ(rq.build(ids).body, nullptr);
}

TEST(TranscriptionRequest, KnowsCloudflareByItsAddress) {
    const std::string path = "/ai/run/@cf/openai/whisper-large-v3-turbo";
    EXPECT_TRUE(isCloudflareWhisper(cloudflareUrl));
    EXPECT_TRUE(isCloudflareWhisper("https://QUILLET-AI.me.workers.dev" + path));
    EXPECT_FALSE(isCloudflareWhisper("https://quillet-ai.me.workers.dev/v1/audio/transcriptions"));
    EXPECT_FALSE(isCloudflareWhisper("https://quillet-ai.workers.dev.evil.example" + path));
    EXPECT_FALSE(isCloudflareWhisper("https://evil.example/api.cloudflare.com" + path));
    EXPECT_FALSE(isCloudflareWhisper(""));
    EXPECT_EQ(cloudflareAccountId("https://dash/accounts/0123456789abcdef0123456789ABCDEF/ai"),
              "0123456789abcdef0123456789ABCDEF");
    EXPECT_FALSE(cloudflareAccountId("0123456789abcdef0123456789abcdef0"));
    EXPECT_FALSE(cloudflareAccountId("short"));
}

TEST(GotStuck, IsThreeEmptyPiecesInARow) {
    EXPECT_TRUE(gotStuck("好 。 。 。"));
    EXPECT_TRUE(gotStuck("。。。。"));
    EXPECT_TRUE(gotStuck("hm - - - ok"));
    EXPECT_FALSE(gotStuck("well ... - ok"));
    EXPECT_FALSE(gotStuck("一、二、三，四。"));
    EXPECT_FALSE(gotStuck(""));
}

/// The client on the virtual clock, against a scripted server.
class Transcription : public ::testing::Test {
protected:
    std::expected<std::string, STTError> run(SpeechClient::Job job) {
        server.delay = 0ms;
        const auto begin = scheduler.now();
        std::optional<std::expected<std::string, STTError>> result;
        TaskScope tasks(loop);
        auto task = [&]() -> asio::awaitable<void> {
            result.emplace(co_await client.transcribe(std::move(job)));
            took = scheduler.now() - begin;
        };
        tasks.spawn(task());
        scheduler.advance(60s);
        return std::move(result).value();
    }
    static SpeechClient::Job job(std::string url = "https://speech.example/v1/x") {
        SpeechClient::Job made;
        made.request = request(std::move(url));
        made.selectedLanguage = "mixed";
        return made;
    }

    SimLoop loop;
    SimScheduler scheduler{loop};
    SpokenWords words;
    ScriptedServer server{scheduler, words};
    SimIds ids;
    std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
    SpeechClient client{server, scheduler, ids, Log(sink, Log::PrivateText::hide)};
    Scheduler::Duration took{};
};

TEST_F(Transcription, RetriesWhatMayPassAndGivesUpOnWhatWillNot) {
    struct Case {
        const char* url;
        long status;
        std::size_t attempts;
    };
    constexpr const char* own = "https://speech.example/v1/x";
    const Case cases[] = {{own, 408, 3},           {own, 429, 3},          {own, 500, 3},
                          {own, 503, 3},           {own, 400, 1},          {own, 401, 1},
                          {own, 404, 1},           {own, 204, 1},          {own, 302, 1},
                          {cloudflareUrl, 429, 1}, {cloudflareUrl, 500, 3}};
    for (const auto& one : cases) {
        server.requests.clear();
        for (int i = 0; i < 3; ++i)
            server.answer(one.status, "");
        EXPECT_EQ(run(job(one.url)).error(), STTError::http(one.status));
        EXPECT_EQ(server.requests.size(), one.attempts) << one.status << ' ' << one.url;
        server.replies.clear();
    }
    server.requests.clear();
    server.fail(HttpError::Kind::unreachable);
    EXPECT_EQ(run(job()).error().kind, STTError::Kind::network);
    EXPECT_EQ(server.requests.size(), 1U);
}

TEST_F(Transcription, WaitsLongerAfterEachAttemptAndNotAfterTheLast) {
    server.answer(500, "");
    server.answer(500, "");
    server.answer(200, R"({"text": " at last \n"})");
    EXPECT_EQ(run(job()).value(), "at last");
    EXPECT_EQ(took, 900ms);
    EXPECT_TRUE(sink->has("Attempt 2/3 failed: STT server returned HTTP 500."));
    for (int i = 0; i < 3; ++i)
        server.answer(500, "");
    EXPECT_FALSE(run(job()));
    EXPECT_EQ(took, 900ms);
}

TEST_F(Transcription, ReadsOnlyWhatIsATranscript) {
    for (const auto* body :
         {R"({"text": 7})", "<html>", "[]", R"({"result": {"text": "x"}})", ""}) {
        for (int i = 0; i < 3; ++i)
            server.answer(200, body);
        EXPECT_EQ(run(job()).error().kind, STTError::Kind::parseFailure) << body;
    }
    server.answer(200, R"({"result": {"text": "漢字轉換"}})");
    EXPECT_EQ(run(job(cloudflareUrl)).value(), "汉字转换");
    auto japanese = job(cloudflareUrl);
    japanese.selectedLanguage = "ja";
    server.answer(200, R"({"result": {"text": "漢字"}})");
    EXPECT_EQ(run(std::move(japanese)).value(), "漢字");
    server.answer(200, R"({"text": "漢字"})");
    EXPECT_EQ(run(job()).value(), "漢字");
}

TEST_F(Transcription, AsksAgainWithoutAPromptThatMisled) {
    for (const auto* misled :
         {R"({"text": ""})", R"({"text": ", , , ,"})", R"({"text": "some", "skipped": true})"}) {
        server.requests.clear();
        auto prompted = job();
        prompted.request.prompt = "hint";
        server.answer(200, misled);
        server.answer(200, R"({"text": "words"})");
        EXPECT_EQ(run(std::move(prompted)).value(), "words") << misled;
        ASSERT_EQ(server.requests.size(), 2U);
        EXPECT_EQ(server.requests[1].body->find("name=\"prompt\""), std::string::npos);
    }
    server.requests.clear();
    server.answer(200, R"({"text": ""})");
    EXPECT_EQ(run(job()).value(), "");
    EXPECT_EQ(server.requests.size(), 1U);
}

TEST_F(Transcription, WithoutAnEndpointAsksNobody) {
    for (const auto* url : {"", "speech.example/v1", "ftp://speech.example/v1", "http://"}) {
        EXPECT_EQ(run(job(url)).error().kind, STTError::Kind::notConfigured) << url;
    }
    EXPECT_TRUE(server.requests.empty());
}

TEST_F(Transcription, TestsTheConnectionAtTheServersOwnAddress) {
    const auto test = [this](std::string endpoint) {
        std::optional<SpeechClient::ConnectionReport> report;
        TaskScope tasks(loop);
        auto task = [&]() -> asio::awaitable<void> {
            report = co_await client.testConnection(endpoint, "key");
        };
        tasks.spawn(task());
        scheduler.advance(30s);
        return *report;
    };
    EXPECT_EQ(test("not an address").sentence, "Invalid URL");
    server.answer(200, "{}");
    EXPECT_TRUE(test("https://s.example/v1/audio/transcriptions").reachable);
    EXPECT_EQ(server.requests.back().url, "https://s.example/v1/models");
    EXPECT_EQ(server.requests.back().headers.back().second, "Bearer key");
    EXPECT_EQ(test("https://api.cloudflare.com/client/v4/accounts/ACCOUNT_ID/ai/run/@cf/openai/"
                   "whisper-large-v3-turbo")
                  .sentence,
              "Enter the account ID");
    server.answer(401, "");
    EXPECT_FALSE(test("https://s.example/v1/audio/transcriptions").reachable);
}

/// The real HTTP client against real sockets.
class Wire : public ::testing::Test {
protected:
    HttpClient::Result get(const std::string& url, std::chrono::milliseconds timeout = 5s) {
        HttpRequest rq;
        rq.url = url;
        rq.timeout = timeout;
        rq.headers.emplace_back("Authorization", "Bearer key");
        return loop.run(http.perform(std::move(rq)));
    }

    CommandLoop loop;
    LoopbackServer server;
    CurlHttpClient http;
};

TEST_F(Wire, WarmsUpWithoutAWordAndSendsTheBytes) {
    http.prewarm(server.url("/v1/audio/transcriptions"));
    server.answer(200, "{\"text\":\"hi\"}");
    SimIds ids;
    auto rq = request(server.url("/v1/audio/transcriptions"));
    auto built = rq.build(ids);
    const auto body = *built.body;
    server.waitForRequests(1);
    const auto response = loop.run(http.perform(std::move(built)));
    ASSERT_TRUE(response.has_value());
    EXPECT_EQ(response->status, 200);
    EXPECT_EQ(response->body, "{\"text\":\"hi\"}");
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].substr(0, 16), "HEAD / HTTP/1.1\r");
    EXPECT_EQ(requests[0].find("transcriptions"), std::string::npos);
    EXPECT_TRUE(requests[1].starts_with("POST /v1/audio/transcriptions HTTP/1.1\r\n"));
    EXPECT_TRUE(requests[1].ends_with("\r\n\r\n" + body));
    EXPECT_EQ(requests[1].find("Expect:"), std::string::npos);
}

TEST_F(Wire, TellsFailuresApart) {
    using Ending = LoopbackServer::Script::Ending;
    const auto kind = [this] { return get(server.url("/")).error().kind; };
    server.answer({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf", Ending::reset});
    EXPECT_EQ(kind(), HttpError::Kind::broken);
    server.answer({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf", Ending::close});
    EXPECT_EQ(kind(), HttpError::Kind::broken);
    server.answer({"", Ending::close});
    EXPECT_EQ(kind(), HttpError::Kind::broken);
    server.answer({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n", Ending::hang});
    EXPECT_EQ(get(server.url("/"), 200ms).error().kind, HttpError::Kind::timedOut);
    EXPECT_EQ(get("http://127.0.0.1:1/").error().kind, HttpError::Kind::unreachable);
    EXPECT_EQ(get("file:///etc/passwd").error().kind, HttpError::Kind::badUrl);
    HttpRequest split;
    split.url = server.url("/");
    split.headers.emplace_back("Authorization", "Bearer key\r\nX-Other: header");
    EXPECT_EQ(loop.run(http.perform(std::move(split))).error().kind, HttpError::Kind::badHeader);
    server.answer(500, "<html>oops</html>");
    EXPECT_EQ(get(server.url("/"))->status, 500);
}

TEST_F(Wire, NeverFollowsARedirectWithItsKey) {
    LoopbackServer elsewhere;
    server.answer(
        {"HTTP/1.1 302 Found\r\nLocation: " + elsewhere.url("/") + "\r\nContent-Length: 0\r\n\r\n",
         LoopbackServer::Script::Ending::keep});
    EXPECT_EQ(get(server.url("/"))->status, 302);
    EXPECT_TRUE(elsewhere.requests().empty());
}

TEST_F(Wire, AbandonsACancelledRequest) {
    server.answer({"HTTP/1.1 200 OK\r\n", LoopbackServer::Script::Ending::hang});
    HttpRequest rq;
    rq.url = server.url("/");
    bool ended = false;
    TaskScope tasks(loop);
    auto task = [&]() -> asio::awaitable<void> {
        const auto result = co_await http.perform(std::move(rq));
        ended = !result && result.error().kind == HttpError::Kind::cancelled;
    };
    tasks.spawn(task());
    loop.drain();
    server.waitForRequests(1);
    tasks.cancelAndJoin();
    EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace quillet::world
