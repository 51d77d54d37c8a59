#include "speech/SpeechSession.h"

#include "audio/Wav.h"

namespace quillet {

namespace {

constexpr int dictationAttempts = 3;
constexpr std::chrono::milliseconds baseTimeout{20'000};
constexpr std::chrono::milliseconds longestTimeout{120'000};
constexpr double samplesPerSecond = 16'000;

STTError errorOf(OnDeviceTranscriber::Failure failure) {
    STTError error = STTError::of(failure == OnDeviceTranscriber::Failure::permission
                                      ? STTError::Kind::noPermission
                                      : STTError::Kind::engineUnavailable);
    error.message = explanation(failure);
    return error;
}

}  // namespace

struct SpeechSession::Key {
    std::string value;
    std::string problem;
    Event known;
};

std::chrono::milliseconds transcriptionTimeout(double seconds) {
    const auto half = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 500));
    return std::min(baseTimeout + half, longestTimeout);
}

SpeechSession::SpeechSession(Services services, Source source,
                             OnDeviceTranscriber::OnPartial onPartial)
    : services_(std::move(services)),
      record_(services_.settings.record()),
      key_(std::make_shared<Key>()) {
    if (!isOnDevice()) {
        services_.client.prewarm(record_.sttEndpoint);
        services_.tasks.spawn(
            readKey(services_.settings, record_.sttEndpoint, services_.log, key_));
    }
    if (!isOnDevice() && !record_.showsTextWhileSpeaking)
        return;
    const auto supported = services_.onDevice.supports(onDeviceLanguage());
    if (!supported) {
        onDeviceFailure_ = supported.error();
        return;
    }
    if (source == Source::recording)
        return;
    if (!record_.showsTextWhileSpeaking)
        onPartial = nullptr;
    stream_ = services_.onDevice.stream(onDeviceLanguage(), std::move(onPartial));
}

void SpeechSession::feed(std::span<const std::int16_t> samples) {
    if (stream_)
        stream_->feed(samples);
}

std::string SpeechSession::onDeviceLanguage() const {
    return record_.languageCode().value_or("mixed");
}

std::string SpeechSession::engineName() const {
    if (isOnDevice())
        return "On-device recognition";
    return isCloudflareWhisper(record_.sttEndpoint) ? "Cloudflare Whisper" : "Speech server";
}

std::string SpeechSession::keyProblem() const {
    return key_->problem;
}

asio::awaitable<void> SpeechSession::readKey(AppSettings& settings, std::string url, Log log,
                                             std::shared_ptr<Key> key) {
    const std::string name = isCloudflareWhisper(url) ? "cloudflareToken" : "sttAPIKey";
    auto value = co_await settings.secretFor(name, std::move(url));
    if (value)
        key->value = std::move(*value);
    else
        key->problem = explanation(value.error());
    if (!key->problem.empty())
        log.error("The API key could not be read: {}", key->problem);
    key->known.set();
}

asio::awaitable<std::expected<std::string, STTError>> SpeechSession::finish(
    std::shared_ptr<const std::vector<std::int16_t>> samples) {
    if (isOnDevice())
        co_return co_await finishOnDevice(std::move(samples));
    stream_.reset();
    co_return co_await finishAtServer(std::move(samples));
}

asio::awaitable<std::expected<std::string, STTError>> SpeechSession::finishOnDevice(
    std::shared_ptr<const std::vector<std::int16_t>> samples) {
    if (onDeviceFailure_)
        co_return std::unexpected(errorOf(*onDeviceFailure_));
    std::expected<std::string, OnDeviceTranscriber::Failure> text;
    if (stream_)
        text = co_await stream_->finish();
    else
        text = co_await services_.onDevice.recognise(std::move(samples), onDeviceLanguage());
    if (!text) {
        services_.log.error("On-device recognition failed: {}", explanation(text.error()));
        co_return std::unexpected(errorOf(text.error()));
    }
    co_return std::move(*text);
}

asio::awaitable<std::expected<std::string, STTError>> SpeechSession::finishAtServer(
    std::shared_ptr<const std::vector<std::int16_t>> samples) {
    co_await key_->known.wait();
    auto audio = std::make_shared<TranscriptionRequest::Audio>();
    audio->data = encodeWav(*samples);
    audio->fileExtension = "wav";
    audio->seconds = static_cast<double>(samples->size()) / samplesPerSecond;

    SpeechClient::Job job;
    job.request.url = record_.sttEndpoint;
    job.request.apiKey = key_->value;
    job.request.timeout = transcriptionTimeout(audio->seconds);
    job.request.audio = std::move(audio);
    job.request.language = record_.languageCode();
    job.request.model = record_.sttModel;
    job.request.prompt = defaultRecognitionPrompt;
    // The recording engine has already heard voice; a second opinion only loses quiet words.
    job.request.vadOff = true;
    job.selectedLanguage = record_.languageCode().value_or("mixed");
    job.attempts = dictationAttempts;
    co_return co_await services_.client.transcribe(std::move(job));
}

}  // namespace quillet
