#include "app/AgentAccess.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/async/Checkpoint.h"
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
    auto samples = co_await services_.archive.load(std::move(id));
    co_await checkpoint();
    if (!samples)
        co_return std::unexpected("The recording can't be read: " + samples.error());
    co_return co_await recognise(std::move(*samples));
}

asio::awaitable<AgentControl::Text> AgentAccess::transcribeFile(AudioFile file) {
    const WaitingLine::Place place(transcriptions_);
    co_await place.turn();
    auto server = speechServer(services_.settings.record());
    if (!server.empty())
        co_return co_await askServer(std::move(server), std::move(file));
    auto decode = [this, &file](const std::stop_token& stop) {
        return services_.decode(file.file, longestFile, stop);
    };
    auto samples = co_await services_.worker->run(std::move(decode));
    co_await checkpoint();
    if (!samples)
        co_return std::unexpected("The file can't be transcribed: " + samples.error());
    co_return co_await recognise(std::move(*samples));
}

/// As a dictation is recognised.
asio::awaitable<AgentControl::Text> AgentAccess::recognise(std::vector<std::int16_t> samples) {
    SpeechSession session({services_.onDevice, services_.speechClient, services_.settings,
                           services_.scheduler, tasks_, services_.log, services_.terms()},
                          SpeechSession::Source::recording, nullptr);
    auto recognition = co_await session.finish(
        std::make_shared<const std::vector<std::int16_t>>(std::move(samples)));
    co_await checkpoint();
    Transcript transcript;
    if (recognition)
        transcript = std::move(recognition->text);
    else
        transcript = std::unexpected(std::move(recognition.error()));
    co_return co_await concluded(session.engineName(), std::move(transcript));
}

/// The server gets the file as it is.
asio::awaitable<AgentControl::Text> AgentAccess::askServer(std::string server, AudioFile file) {
    const auto settings = services_.settings.record();
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
    auto key = co_await services_.settings.secretFor(std::string(speechKeyName(server)), server);
    job.request.url = std::move(server);
    job.request.apiKey = std::move(key).value_or("");
    job.request.timeout = longestAnswer;
    job.request.language = settings.languageCode();
    job.request.model = settings.sttModel;
    job.request.prompt = recognitionPrompt(services_.terms());
    job.selectedLanguage = settings.languageCode().value_or("mixed");
    job.attempts = attempts;
    job.worker = services_.worker.get();
    co_await checkpoint();
    auto transcript = co_await services_.speechClient.transcribe(std::move(job));
    co_await checkpoint();
    if (transcript && isOnlyMarks(*transcript))
        transcript->clear();
    co_return co_await concluded("The speech server", std::move(transcript));
}

/// The transcript as the user writes, or why there is none.
asio::awaitable<AgentControl::Text> AgentAccess::concluded(std::string_view engine,
                                                           Transcript transcript) {
    if (!transcript)
        co_return std::unexpected(
            fmt::format("{} failed: {}", engine, transcript.error().longText()));
    if (transcript->empty())
        co_return std::unexpected(std::string(nothingHeard));
    const auto matcher = co_await vocabulary_.current();
    auto apply = [&] { return matcher->apply(*transcript); };
    co_return co_await services_.vocabulary.queue().run(std::move(apply));
}

}  // namespace quillet
