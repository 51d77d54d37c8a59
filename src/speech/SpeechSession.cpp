#include "speech/SpeechSession.h"

#include <fmt/format.h>

#include "audio/Wav.h"
#include "base/text/Translation.h"
#include "speech/SpeechFallback.h"
#include "speech/SpeechServer.h"
#include "speech/cleanup/RecognitionPrompt.h"
#include "speech/cleanup/SilenceGuards.h"

namespace quillet {

namespace {

constexpr int dictationAttempts = 3;
constexpr int backupAttempts = 2;
/// What this machine is called where it stands in for a server.
constexpr std::string_view deviceName = "Mac";
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
        if (!endpoint().empty())
            services_.client.prewarm(endpoint());
        const bool cloudflare = isCloudflareWhisper(endpoint());
        fetchKey(key_, std::string(speechKeyName(endpoint())), endpoint());
        if (record_.sttBackup && !cloudflare && cloudflareAccountId(record_.cloudflareAccount)) {
            backupKey_ = std::make_shared<Key>();
            fetchKey(backupKey_, "cloudflareToken",
                     cloudflareWhisperUrl(*cloudflareAccountId(record_.cloudflareAccount)));
        }
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

/// The server's address; empty when it still lacks the account that it is for.
std::string SpeechSession::endpoint() const {
    return resolvedAddress(record_.sttEndpoint, record_.cloudflareAccount).value_or("");
}

void SpeechSession::feed(std::span<const std::int16_t> samples) {
    if (stream_)
        stream_->feed(samples);
}

std::string SpeechSession::onDeviceLanguage() const {
    return record_.languageCode().value_or("mixed");
}

std::string SpeechSession::engineName() const {
    return std::string(speechEngineName(record_));
}

std::string SpeechSession::keyProblem() const {
    return key_->problem;
}

void SpeechSession::fetchKey(const std::shared_ptr<Key>& key, std::string name, std::string url) {
    services_.tasks.spawn(
        readKey(services_.settings, std::move(name), std::move(url), services_.log, key));
}

asio::awaitable<void> SpeechSession::readKey(AppSettings& settings, std::string name,
                                             std::string url, Log log, std::shared_ptr<Key> key) {
    auto value = co_await settings.secretFor(std::move(name), std::move(url));
    if (value)
        key->value = std::move(*value);
    else
        key->problem = explanation(value.error());
    if (!key->problem.empty())
        log.error("The API key could not be read: {}", key->problem);
    key->known.set();
}

/// A transcript that came as it should, with nothing to be said of its way.
SpeechSession::Result SpeechSession::plainly(Transcript transcript) {
    if (!transcript)
        return std::unexpected(std::move(transcript.error()));
    return Recognition{std::move(*transcript), {}};
}

asio::awaitable<SpeechSession::Result> SpeechSession::finish(Samples samples) {
    Result result;
    if (isOnDevice()) {
        result = plainly(co_await finishOnDevice(std::move(samples)));
    } else {
        result = co_await finishAtServer(std::move(samples));
    }
    if (result && isOnlyMarks(result->text))
        result->text.clear();
    co_return result;
}

asio::awaitable<SpeechSession::Transcript> SpeechSession::finishOnDevice(Samples samples) {
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

SpeechClient::Job SpeechSession::job(std::string url, std::string key, Audio audio) const {
    SpeechClient::Job job;
    job.request.url = std::move(url);
    job.request.apiKey = std::move(key);
    job.request.timeout = transcriptionTimeout(audio->seconds);
    job.request.audio = std::move(audio);
    job.request.language = record_.languageCode();
    job.request.model = record_.sttModel;
    job.request.prompt = recognitionPrompt(services_.terms);
    // The recording engine has already heard voice; a second opinion only loses quiet words.
    job.request.vadOff = true;
    job.selectedLanguage = record_.languageCode().value_or("mixed");
    job.attempts = dictationAttempts;
    return job;
}

asio::awaitable<SpeechSession::Result> SpeechSession::finishAtServer(Samples samples) {
    co_await key_->known.wait();
    auto audio = std::make_shared<TranscriptionRequest::Audio>();
    audio->data = encodeWav(*samples);
    audio->fileExtension = "wav";
    audio->seconds = static_cast<double>(samples->size()) / samplesPerSecond;

    auto primary = job(endpoint(), key_->value, audio);
    Result result;
    if (backupKey_ && audio->seconds > 0) {
        // The user's time to answer is not the server's.
        (void)co_await services_.client.permitted(endpoint());
        result = co_await raceWithBackup(audio, std::move(primary));
    } else {
        result = plainly(co_await services_.client.transcribe(std::move(primary)));
    }
    if (result || !deviceMayStandIn(result.error()))
        co_return result;
    co_return co_await standInFor(std::move(result.error()), std::move(samples));
}

asio::awaitable<SpeechSession::Result> SpeechSession::raceWithBackup(Audio audio,
                                                                     SpeechClient::Job primary) {
    const auto seconds = audio->seconds;
    SpeechFallback::Primary first = [this, primary](SpeechFallback::Stumbled stumbled) {
        auto job = primary;
        job.attemptFailed = std::move(stumbled);
        return services_.client.transcribe(std::move(job));
    };
    SpeechFallback::Contender second = [this, audio] { return askBackup(audio); };
    auto finish =
        co_await SpeechFallback::race(services_.scheduler, SpeechFallback::delayFor(seconds),
                                      std::move(first), std::move(second));
    auto* value = std::get_if<SpeechFallback::Value>(&finish.outcome);
    if (value == nullptr)
        co_return std::unexpected(*finish.primaryError);
    Recognition recognition{std::move(value->transcript), {}};
    if (value->fromBackup && finish.primaryError) {
        services_.log.info("Recognized by the Cloudflare backup");
        recognition.notice =
            fmt::format(fmt::runtime(translated("{} — recognized by the Cloudflare backup")),
                        translated(failureReason(*finish.primaryError, endpoint())));
    } else if (value->fromBackup) {
        constexpr auto sentence =
            toTranslate("Own server slow — recognized by the Cloudflare backup");
        services_.log.info("{}", sentence);
        recognition.notice = translated(sentence);
    }
    co_return recognition;
}

/// What Cloudflare hears. Without a token it is not asked, and the user's own server stands alone.
asio::awaitable<SpeechSession::Transcript> SpeechSession::askBackup(Audio audio) {
    co_await backupKey_->known.wait();
    if (backupKey_->value.empty())
        co_return std::unexpected(STTError::of(STTError::Kind::notConfigured));
    const auto account = cloudflareAccountId(record_.cloudflareAccount);
    auto backup = job(cloudflareWhisperUrl(*account), backupKey_->value, std::move(audio));
    backup.attempts = backupAttempts;
    co_return co_await services_.client.transcribe(std::move(backup));
}

/// The device recognises what no server did. Where it cannot, or hears nothing, the server's
/// failure stands.
asio::awaitable<SpeechSession::Result> SpeechSession::standInFor(STTError error, Samples samples) {
    if (!stream_ && !services_.onDevice.supports(onDeviceLanguage()))
        co_return std::unexpected(std::move(error));
    services_.log.info("STT server failed or not allowed — recognizing on the device");
    auto text = co_await finishOnDevice(std::move(samples));
    if (!text || text->empty())
        co_return std::unexpected(std::move(error));
    co_return Recognition{std::move(*text), backupNotice(error, endpoint(), deviceName)};
}

}  // namespace quillet
