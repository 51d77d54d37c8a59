#include "meetings/PieceRecogniser.h"

#include "audio/Wav.h"
#include "meetings/Mixing.h"
#include "speech/SpeechSession.h"
#include "speech/cleanup/RecognitionPrompt.h"
#include "speech/cleanup/SilenceGuards.h"

namespace quillet {

namespace {

using Side = CallAudio::Side;
using Line = MeetingNote::Line;
using Seconds = MeetingNote::Seconds;

constexpr double framesPerSecond = 16'000;
constexpr int attempts = 3;

Seconds secondsOf(std::int64_t frames) {
    return Seconds(static_cast<double>(frames) / framesPerSecond);
}

std::int64_t framesOf(double seconds) {
    return static_cast<std::int64_t>(seconds * framesPerSecond);
}

std::string speakerOf(Side side) {
    return std::string(side == Side::microphone ? userSpeaker : farSpeaker);
}

bool hasBothSides(const std::vector<Turn>& turns) {
    return std::ranges::adjacent_find(turns, std::ranges::not_equal_to{}, &Turn::side) !=
           turns.end();
}

std::vector<Line> linesOf(const SpeechClient::Transcript& transcript,
                          const std::vector<Turn>& turns, Seconds start) {
    std::vector<Line> lines;
    for (const auto& segment : transcript.segments) {
        auto speaker = segment.speaker;
        if (!speaker) {
            const auto side =
                speakingSide(turns, framesOf(segment.start), framesOf(segment.end) + 1);
            if (side)
                speaker = speakerOf(*side);
        }
        lines.push_back(
            {start + Seconds(segment.start), start + Seconds(segment.end), speaker, segment.text});
    }
    return lines;
}

/// A transcript without parts, of a piece in which one side spoke at most.
Line wholeLine(std::string text, const std::vector<Turn>& turns, std::int64_t frames,
               Seconds start) {
    if (turns.empty())
        return {start, start + secondsOf(frames), std::nullopt, std::move(text)};
    return {start + secondsOf(turns.front().from), start + secondsOf(turns.back().to),
            speakerOf(turns.front().side), std::move(text)};
}

}  // namespace

PieceRecogniser::PieceRecogniser(Services services, Config config)
    : services_(services), config_(std::move(config)) {}

bool PieceRecogniser::deviceCan() const {
    return services_.onDevice.supports(config_.sentLanguage.value_or("mixed")).has_value();
}

asio::awaitable<PieceRecogniser::Lines> PieceRecogniser::recognise(Piece piece, Seconds start) {
    const auto engine = config_.stt.empty() ? Engine::device : Engine::server;
    return recogniseBy(engine, std::move(piece), start);
}

asio::awaitable<PieceRecogniser::Lines> PieceRecogniser::recogniseOnDevice(Piece piece,
                                                                           Seconds start) {
    return recogniseBy(Engine::device, std::move(piece), start);
}

asio::awaitable<PieceRecogniser::Lines> PieceRecogniser::recogniseBy(Engine engine, Piece piece,
                                                                     Seconds start) {
    auto look = [piece] {
        auto whole =
            std::make_shared<const std::vector<std::int16_t>>(mixed(piece->user, piece->far));
        return Prepared{turnsOf(*piece), std::move(whole)};
    };
    auto prepared = co_await services_.worker.run(std::move(look));
    const bool both = hasBothSides(prepared.turns);
    const bool toldApart = engine == Engine::server && serverTellsParts_;
    if (both && !toldApart)
        co_return co_await recogniseTurns(engine, piece, std::move(prepared.turns), start);

    const auto frames = std::ssize(*prepared.whole);
    auto transcript = co_await ask(engine, std::move(prepared.whole));
    if (!transcript)
        co_return std::unexpected(std::move(transcript.error()));
    if (transcript->text.empty())
        co_return std::vector<Line>();
    if (!transcript->segments.empty())
        co_return linesOf(*transcript, prepared.turns, start);
    serverTellsParts_ = serverTellsParts_ && engine == Engine::device;
    if (both)
        co_return co_await recogniseTurns(engine, piece, std::move(prepared.turns), start);
    co_return std::vector<Line>(
        1, wholeLine(std::move(transcript->text), prepared.turns, frames, start));
}

/// Each turn by itself, from its own side.
asio::awaitable<PieceRecogniser::Lines> PieceRecogniser::recogniseTurns(Engine engine, Piece piece,
                                                                        std::vector<Turn> turns,
                                                                        Seconds start) {
    std::vector<Line> lines;
    for (const auto& turn : turns) {
        const auto& side = turn.side == Side::microphone ? piece->user : piece->far;
        const auto from = std::max<std::int64_t>(0, turn.from - turnMargin);
        const auto to = std::min<std::int64_t>(std::ssize(side), turn.to + turnMargin);
        auto samples = std::make_shared<const std::vector<std::int16_t>>(side.begin() + from,
                                                                         side.begin() + to);
        auto transcript = co_await ask(engine, std::move(samples));
        if (!transcript)
            co_return std::unexpected(std::move(transcript.error()));
        if (!transcript->text.empty())
            lines.push_back({start + secondsOf(turn.from), start + secondsOf(turn.to),
                             speakerOf(turn.side), std::move(transcript->text)});
    }
    co_return lines;
}

asio::awaitable<PieceRecogniser::Transcript> PieceRecogniser::ask(Engine engine, Samples samples) {
    Transcript transcript;
    if (engine == Engine::server) {
        transcript = co_await askServer(std::move(samples));
    } else {
        auto text = co_await services_.onDevice.recognise(std::move(samples),
                                                          config_.sentLanguage.value_or("mixed"));
        if (text) {
            transcript->text = std::move(*text);
        } else {
            auto error = STTError::of(STTError::Kind::engineUnavailable);
            error.message = explanation(text.error());
            transcript = std::unexpected(std::move(error));
        }
    }
    if (transcript && isOnlyMarks(transcript->text))
        *transcript = {};
    co_return transcript;
}

asio::awaitable<PieceRecogniser::Transcript> PieceRecogniser::askServer(Samples samples) {
    auto encode = [samples] {
        auto audio = std::make_shared<TranscriptionRequest::Audio>();
        audio->data = encodeWav(*samples);
        audio->fileExtension = "wav";
        audio->seconds = static_cast<double>(samples->size()) / framesPerSecond;
        return std::shared_ptr<const TranscriptionRequest::Audio>(std::move(audio));
    };
    SpeechClient::Job job;
    job.request.audio = co_await services_.worker.run(std::move(encode));
    job.request.url = config_.stt;
    job.request.apiKey = config_.sttKey;
    job.request.timeout = transcriptionTimeout(job.request.audio->seconds);
    job.request.language = config_.sentLanguage;
    job.request.model = config_.sttModel;
    job.request.prompt = recognitionPrompt(config_.vocabulary);
    job.request.fileStem = "meeting";
    job.selectedLanguage = config_.language;
    job.attempts = attempts;
    job.worker = &services_.worker;
    co_return co_await services_.client.transcribeInParts(std::move(job));
}

}  // namespace quillet
