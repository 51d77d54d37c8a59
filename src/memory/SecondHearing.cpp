#include "memory/SecondHearing.h"

#include "audio/Wav.h"
#include "base/async/Checkpoint.h"
#include "speech/SpeechServer.h"
#include "speech/SpeechSession.h"
#include "speech/TranscriptionRequest.h"
#include "speech/cleanup/RecognitionPrompt.h"

namespace quillet {

namespace {

constexpr double framesPerSecond = 16'000;

}  // namespace

asio::awaitable<std::optional<std::string>> SecondHearing::hear(std::string recording) {
    const auto settings = services_.settings.record();
    const auto server = speechServer(settings);
    if (server.empty())
        co_return std::nullopt;
    const auto samples = co_await services_.archive.load(std::move(recording));
    if (!samples)
        co_return std::nullopt;
    auto encode = [&samples] {
        auto audio = std::make_shared<TranscriptionRequest::Audio>();
        audio->data = encodeWav(*samples);
        audio->fileExtension = "wav";
        audio->seconds = static_cast<double>(samples->size()) / framesPerSecond;
        return std::shared_ptr<const TranscriptionRequest::Audio>(std::move(audio));
    };
    SpeechClient::Job job;
    job.request.audio = co_await services_.worker->run(std::move(encode));
    job.request.url = server;
    job.request.apiKey =
        (co_await services_.settings.secretFor(std::string(speechKeyName(server)), server))
            .value_or("");
    job.request.timeout = transcriptionTimeout(job.request.audio->seconds);
    job.request.language = settings.languageCode();
    job.request.model = settings.sttModel;
    job.request.prompt = defaultRecognitionPrompt;
    job.request.vadOff = true;
    job.selectedLanguage = settings.languageCode().value_or("mixed");
    job.worker = services_.worker.get();
    co_await checkpoint();
    auto text = co_await services_.client.transcribe(std::move(job));
    if (!text)
        co_return std::nullopt;
    co_return std::move(*text);
}

}  // namespace quillet
