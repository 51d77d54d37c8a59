#include "app/AgentAccess.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/async/Checkpoint.h"
#include "speech/SpeechFallback.h"
#include "speech/SpeechServer.h"
#include "speech/cleanup/RecognitionPrompt.h"
#include "speech/cleanup/SilenceGuards.h"

namespace quillet {

namespace {

constexpr std::string_view nothingHeard = "No speech was recognised in it";
/// A server may take as long over an hour that somebody else recorded.
constexpr std::chrono::minutes longestAnswer{5};
constexpr int attempts = 2;

/// The name under which servers know a container.
std::string nameForServers(const std::string& extension) {
    return extension == "opus" ? "ogg" : extension;
}

std::string cannotBeTranscribed(std::string_view why) {
    return fmt::format("The file can't be transcribed: {}", why);
}

}  // namespace

AgentAccess::AgentAccess(Services services)
    : services_(std::move(services)), vocabulary_(services_.vocabulary), tasks_(services_.loop) {}

asio::awaitable<AgentControl::Text> AgentAccess::dictate(std::chrono::seconds atMost) {
    co_return co_await services_.session.dictateForAgent(atMost);
}

asio::awaitable<std::expected<void, std::string>> AgentAccess::type(std::string text) {
    co_return co_await services_.session.typeText(std::move(text));
}

asio::awaitable<std::vector<AgentControl::Recording>> AgentAccess::recordings() {
    auto items = co_await services_.archive.list();
    const auto oldest = services_.calendar.now() - RecordingArchive::keptFor;
    std::vector<Recording> kept;
    for (auto& item : items) {
        if (item.date >= oldest)
            kept.push_back({std::move(item.id), item.date, item.seconds, std::move(item.text)});
    }
    co_return kept;
}

asio::awaitable<std::optional<AgentControl::Text>> AgentAccess::transcribeRecording(
    std::string id) {
    const auto kept = co_await recordings();
    if (std::ranges::find(kept, id, &Recording::id) == kept.end())
        co_return std::nullopt;
    const WaitingLine::Place place(transcriptions_);
    co_await place.turn();
    auto samples = co_await services_.archive.load(id);
    co_await checkpoint();
    if (!samples)
        co_return std::unexpected("The recording can't be read: " + samples.error());
    auto recognition = co_await recognise(std::move(*samples));
    if (const auto& text = recognition.transcript; text && !text->empty())
        (void)co_await services_.archive.noteText(std::move(id), *text);
    co_return co_await concluded(std::move(recognition));
}

asio::awaitable<AgentControl::Text> AgentAccess::transcribeFile(AudioFile file) {
    const WaitingLine::Place place(transcriptions_);
    co_await place.turn();
    if (!speechServer(services_.settings.record()).empty())
        co_return co_await askServer(file);
    auto samples = co_await decoded(file);
    if (!samples)
        co_return std::unexpected(cannotBeTranscribed(samples.error()));
    co_return co_await concluded(co_await recognise(std::move(*samples)));
}

asio::awaitable<std::expected<AgentAccess::Samples, std::string>> AgentAccess::decoded(
    const AudioFile& file) {
    auto decode = [this, &file](const std::stop_token& stop) {
        return services_.decode(file.file, longestFile, stop);
    };
    auto samples = co_await services_.worker->run(std::move(decode));
    co_await checkpoint();
    co_return samples;
}

/// As a dictation is recognised.
asio::awaitable<AgentAccess::Recognition> AgentAccess::recognise(Samples samples) {
    SpeechSession session({services_.onDevice, services_.speechClient, services_.settings,
                           services_.scheduler, tasks_, services_.log, services_.terms()},
                          SpeechSession::Source::recording, nullptr);
    auto recognition = co_await session.finish(std::make_shared<const Samples>(std::move(samples)));
    co_await checkpoint();
    Transcript transcript;
    if (recognition)
        transcript = std::move(recognition->text);
    else
        transcript = std::unexpected(std::move(recognition.error()));
    co_return Recognition{std::move(transcript), session.engineName(), session.keyProblem()};
}

/// The server gets the file as it is.
asio::awaitable<AgentControl::Text> AgentAccess::askServer(const AudioFile& file) {
    const auto settings = services_.settings.record();
    auto job = co_await jobFor(file, settings);
    co_await checkpoint();
    if (!job)
        co_return std::unexpected(std::move(job.error()));
    auto transcript = co_await services_.speechClient.transcribe(std::move(*job));
    co_await checkpoint();
    if (transcript && isOnlyMarks(*transcript))
        transcript->clear();
    if (!transcript && deviceMayStandIn(transcript.error()))
        transcript = co_await standInFor(std::move(transcript.error()), file,
                                         settings.languageCode().value_or("mixed"));
    co_return co_await concluded(
        {std::move(transcript), std::string(speechEngineName(settings)), {}});
}

asio::awaitable<std::expected<SpeechClient::Job, std::string>> AgentAccess::jobFor(
    const AudioFile& file, const QuilletSettings& settings) {
    auto server = speechServer(settings);
    auto key = co_await services_.settings.secretFor(std::string(speechKeyName(server)), server);
    // Where no keyring is running there is no key, and the server may need none.
    if (!key && key.error() != Keychain::Error::absent)
        co_return std::unexpected(cannotBeTranscribed(explanation(key.error())));
    auto read = [&file]() -> std::shared_ptr<const TranscriptionRequest::Audio> {
        auto bytes = file.file.read(static_cast<std::size_t>(file.bytes));
        if (!bytes)
            return nullptr;
        TranscriptionRequest::Audio audio{std::move(*bytes), nameForServers(file.fileExtension)};
        return std::make_shared<const TranscriptionRequest::Audio>(std::move(audio));
    };
    SpeechClient::Job job;
    job.request.audio = co_await services_.worker->run(std::move(read));
    if (!job.request.audio)
        co_return std::unexpected("The file can't be read");
    job.request.url = std::move(server);
    job.request.apiKey = std::move(key).value_or("");
    job.request.timeout = longestAnswer;
    job.request.language = settings.languageCode();
    job.request.model = settings.sttModel;
    job.request.prompt = recognitionPrompt(services_.terms());
    job.selectedLanguage = settings.languageCode().value_or("mixed");
    job.attempts = attempts;
    job.worker = services_.worker.get();
    co_return job;
}

/// What the device hears in what the server did not recognise. Where it cannot, or hears nothing,
/// the server's failure stands.
asio::awaitable<AgentAccess::Transcript> AgentAccess::standInFor(STTError error,
                                                                 const AudioFile& file,
                                                                 std::string language) {
    if (!services_.onDevice.supports(language))
        co_return std::unexpected(std::move(error));
    auto samples = co_await decoded(file);
    if (!samples)
        co_return std::unexpected(std::move(error));
    auto text = co_await services_.onDevice.recognise(
        std::make_shared<const Samples>(std::move(*samples)), std::move(language));
    co_await checkpoint();
    if (!text || text->empty())
        co_return std::unexpected(std::move(error));
    co_return std::move(*text);
}

/// The transcript as the user writes, or why there is none.
asio::awaitable<AgentControl::Text> AgentAccess::concluded(Recognition recognition) {
    const auto& transcript = recognition.transcript;
    if (!transcript) {
        auto sentence =
            fmt::format("{} failed: {}", recognition.engine, transcript.error().longText());
        if (!recognition.keyProblem.empty())
            sentence += fmt::format(" ({})", recognition.keyProblem);
        co_return std::unexpected(std::move(sentence));
    }
    if (transcript->empty())
        co_return std::unexpected(std::string(nothingHeard));
    const auto matcher = co_await vocabulary_.current();
    auto apply = [&] { return matcher->apply(*transcript); };
    co_return co_await services_.vocabulary.queue().run(std::move(apply));
}

}  // namespace quillet
