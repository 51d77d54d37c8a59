#include <charconv>
#include <nlohmann/json.hpp>

#include "Laws.h"
#include "Parts.h"
#include "Targets.h"
#include "base/async/TaskScope.h"
#include "base/text/Text.h"
#include "speech/SpeechClient.h"
#include "world/ScriptedSpeech.h"

namespace quillet::fuzz {

namespace {

using nlohmann::json;
using Outcome = std::expected<std::string, STTError>;

constexpr const char* openAiUrl = "https://speech.example/v1/audio/transcriptions";
constexpr const char* cloudflareUrl =
    "https://api.cloudflare.com/client/v4/accounts/0123456789abcdef0123456789abcdef/ai/run/@cf/"
    "openai/whisper-large-v3-turbo";

constexpr long ok = 200;
/// Three attempts, each perhaps a second time without its prompt.
constexpr std::size_t mostRequests = 6;

/// What is asked, and the status of every answer.
struct Question {
    long status = ok;
    std::string_view language;
    std::string_view prompt;
};

Outcome transcribed(const Question& question, const char* url, const std::string& body) {
    world::SimLoop loop;
    world::SimScheduler scheduler(loop);
    const world::SpokenWords words;
    world::ScriptedServer server(scheduler, words);
    server.respond = [&](const HttpRequest&) {
        return world::ScriptedServer::Scripted{{}, question.status, body};
    };
    world::SimIds ids;
    SpeechClient client(server, scheduler, ids, Log(makeNullLogSink(), Log::PrivateText::hide));

    SpeechClient::Job job;
    job.request.url = url;
    job.request.audio = std::make_shared<TranscriptionRequest::Audio>("BYTES", "wav", 1.5);
    job.request.prompt = question.prompt;
    job.selectedLanguage = question.language;
    std::optional<Outcome> outcome;
    TaskScope tasks(loop);
    auto task = [&]() -> asio::awaitable<void> {
        outcome.emplace(co_await client.transcribe(std::move(job)));
    };
    tasks.spawn(task());
    scheduler.advance(std::chrono::seconds(60));
    require(outcome.has_value(), "a transcription ends");
    require(server.requests.size() <= mostRequests, "a server is not asked for ever");
    return *outcome;
}

std::string check(const Question& question, const char* url, const std::string& body) {
    const auto outcome = transcribed(question, url, body);
    if (question.status != ok) {
        require(!outcome && outcome.error() == STTError::http(question.status),
                "an error's status is told");
        return {};
    }
    if (!outcome) {
        require(outcome.error().kind == STTError::Kind::parseFailure,
                "an answer is a transcript or none");
        return {};
    }
    require(isValidUtf8(*outcome), "a transcript is UTF-8", *outcome);
    requireSame(*outcome, trimmed(*outcome), "a transcript has no white space around it");
    return *outcome;
}

}  // namespace

/// Parts: the status, the language setting, the prompt, and the body, or the transcript in it.
void response(std::string_view input) {
    Parts parts(input);
    Question question;
    const auto status = parts.next();
    std::from_chars(status.data(), status.data() + status.size(), question.status);
    question.language = parts.next();
    question.prompt = parts.next();
    const std::string body(parts.last());
    for (const auto* url : {openAiUrl, cloudflareUrl})
        check(question, url, body);

    const auto said = withValidUtf8(body);
    const auto heard = check(question, openAiUrl, json{{"text", said}}.dump());
    require(heard.empty() || heard == trimmed(said), "a transcript is what the server wrote",
            heard);
    check(question, cloudflareUrl, json{{"result", {{"text", said}}}}.dump());
}

}  // namespace quillet::fuzz
