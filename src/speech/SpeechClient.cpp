#include "speech/SpeechClient.h"

#include <array>
#include <nlohmann/json.hpp>

#include "base/async/Checkpoint.h"
#include "base/http/Url.h"
#include "base/text/Text.h"
#include "base/text/Translation.h"
#include "speech/cleanup/SilenceGuards.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr std::chrono::milliseconds waitAfterAttempt{300};
constexpr std::chrono::milliseconds probeTimeout{10'000};
constexpr int mostEmptyPieces = 2;
constexpr std::array<std::string_view, 5> sentenceMarks = {"。", "！", "？", "，", "、"};

/// Whether asking again may help.
bool worthRetrying(const STTError& error, std::string_view url) {
    switch (error.kind) {
        case STTError::Kind::network:
        case STTError::Kind::notConfigured:
        case STTError::Kind::notAllowed:
            return false;
        case STTError::Kind::http:
            // At Cloudflare, "too many requests" means that the day's free quota is used up.
            if (error.status == 429)
                return !isCloudflareWhisper(url);
            return error.status == 408 || error.status >= 500;
        case STTError::Kind::noInputDevice:
        case STTError::Kind::noAudioCaptured:
        case STTError::Kind::noPermission:
        case STTError::Kind::parseFailure:
        case STTError::Kind::engineUnavailable:
            return true;
    }
    return false;
}

double numberIn(const json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_number() ? found->get<double>() : 0;
}

/// A label of a voice: a text, or a number.
std::optional<std::string> speakerOf(const json& segment) {
    const auto found = segment.find("speaker");
    if (found == segment.end() || !(found->is_string() || found->is_number_integer()))
        return std::nullopt;
    auto label = found->is_string() ? trimmed(found->get_ref<const std::string&>()) : found->dump();
    return label.empty() ? std::nullopt : std::optional(std::move(label));
}

/// The parts that a response tells of; none when one of them is not as it should be.
std::vector<SpeechClient::Segment> segmentsOf(const json& response, bool simplified) {
    std::vector<SpeechClient::Segment> segments;
    const auto list = response.find("segments");
    if (list == response.end() || !list->is_array())
        return {};
    for (const auto& one : *list) {
        if (!one.is_object() || !one.contains("text") || !one["text"].is_string())
            return {};
        SpeechClient::Segment segment{numberIn(one, "start"), numberIn(one, "end"), speakerOf(one),
                                      trimmed(one["text"].get_ref<const std::string&>())};
        if (simplified)
            segment.text = toSimplifiedChinese(segment.text);
        const bool inOrder = segments.empty() || segment.start >= segments.back().start;
        if (!inOrder || segment.start < 0 || segment.end < segment.start)
            return {};
        if (!segment.text.empty())
            segments.push_back(std::move(segment));
    }
    return segments;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

/// What keeps a server from being reached, and what to do.
std::string explanationOf(const HttpError& error) {
    if (error.kind == HttpError::Kind::notAllowed)
        return error.message;
    auto sentence = STTError::network(error.message).longText() + ". ";
    if (error.message.contains("certificate"))
        return sentence +
               "The server's certificate is not trusted here. If it is your own, add it to the "
               "system's trusted certificates.";
    return sentence + "Check the network and that sttEndpoint names the right host and port.";
}

}  // namespace

SpeechClient::SpeechClient(HttpClient& http, Scheduler& scheduler, IdSource& ids, Log log)
    : http_(http), scheduler_(scheduler), ids_(ids), log_(std::move(log)) {}

asio::awaitable<std::expected<std::string, STTError>> SpeechClient::transcribe(Job job) {
    auto result = co_await transcribeInParts(std::move(job));
    if (!result)
        co_return std::unexpected(std::move(result.error()));
    co_return std::move(result->text);
}

asio::awaitable<std::expected<SpeechClient::Transcript, STTError>> SpeechClient::transcribeInParts(
    Job job) {
    // An address that still lacks its account would be sent to nobody's.
    if (!parseUrl(job.request.url) || job.request.url.contains(accountPlaceholder)) {
        log_.error("No endpoint configured");
        co_return std::unexpected(STTError::of(STTError::Kind::notConfigured));
    }
    for (int n = 1;; ++n) {
        auto result = co_await attemptWithFallback(job);
        if (result)
            co_return result;
        log_.error("Attempt {}/{} failed: {}", n, job.attempts, result.error().longText());
        if (job.attemptFailed)
            job.attemptFailed(result.error());
        if (n >= job.attempts || !worthRetrying(result.error(), job.request.url))
            co_return result;
        co_await scheduler_.sleep(n * waitAfterAttempt);
    }
}

asio::awaitable<std::expected<SpeechClient::Transcript, STTError>>
SpeechClient::attemptWithFallback(const Job& job) {
    auto first = co_await attempt(job, job.request.prompt);
    if (!first)
        co_return first;
    const bool stuck = gotStuck(first->text);
    if (job.request.prompt.empty() || (!first->skipped && !stuck))
        co_return first;
    log_.info("STT {} following the prompt — asking again without it",
              first->skipped ? "skipped" : "got stuck");
    co_return co_await attempt(job, "");
}

asio::awaitable<std::expected<SpeechClient::Transcript, STTError>> SpeechClient::attempt(
    const Job& job, std::string prompt) {
    TranscriptionRequest request = job.request;
    request.prompt = std::move(prompt);
    auto build = [&] { return request.build(ids_); };
    auto built = job.worker != nullptr ? co_await job.worker->run(std::move(build)) : build();
    const auto response = co_await http_.perform(std::move(built));
    if (!response) {
        // A request that was abandoned on purpose is no failure of the network.
        co_await checkpoint();
        co_return std::unexpected(response.error().kind == HttpError::Kind::notAllowed
                                      ? STTError::of(STTError::Kind::notAllowed)
                                      : STTError::network(response.error().message));
    }
    co_return read(job, request.prompt, *response);
}

std::expected<SpeechClient::Transcript, STTError> SpeechClient::read(
    const Job& job, std::string_view prompt, const HttpResponse& response) const {
    constexpr long ok = 200;
    if (response.status != ok) {
        log_.error("HTTP {}", response.status);
        return std::unexpected(STTError::http(response.status));
    }
    const auto body = json::parse(response.body, nullptr, false);
    const bool cloudflare = isCloudflareWhisper(job.request.url);
    const json* holder = &body;
    if (cloudflare && body.is_object() && body.contains("result"))
        holder = &body["result"];
    if (!holder->is_object() || !holder->contains("text") || !(*holder)["text"].is_string() ||
        (cloudflare && holder == &body))
        return std::unexpected(STTError::of(STTError::Kind::parseFailure));

    Transcript transcript;
    transcript.text = (*holder)["text"].get<std::string>();
    const bool foldsToSimplified = job.selectedLanguage == "mixed" || job.selectedLanguage == "zh";
    if (cloudflare && foldsToSimplified)
        transcript.text = toSimplifiedChinese(transcript.text);
    transcript.text = trimmed(transcript.text);
    const bool saidSo = holder->contains("skipped") && (*holder)["skipped"] == true;
    // Only recordings with voice are sent, so an empty transcript means that it was left out.
    transcript.skipped = saidSo || transcript.text.empty();
    if (!transcript.text.empty() && isSilence(transcript.text, prompt, job.selectedLanguage)) {
        log_.info(
            "STT wrote no speech (prompt echo, another script or subtitle credits) — treating as "
            "silence");
        transcript.text.clear();
    }
    if (!transcript.text.empty())
        transcript.segments = segmentsOf(*holder, cloudflare && foldsToSimplified);
    return transcript;
}

asio::awaitable<SpeechClient::ConnectionReport> SpeechClient::testConnection(std::string endpoint,
                                                                             std::string apiKey) {
    const std::array<std::string, 2> probes = {
        replaced(endpoint, "/audio/transcriptions", "/models"),
        replaced(endpoint, "/v1/audio/transcriptions", "/health")};
    const std::string* probe = nullptr;
    for (const auto& url : probes) {
        if (probe == nullptr && parseUrl(url))
            probe = &url;
    }
    if (probe == nullptr)
        co_return ConnectionReport{false, std::string(toTranslate("Invalid URL"))};
    if (endpoint.contains(accountPlaceholder) ||
        (isCloudflareApi(endpoint) && !cloudflareAccountId(endpoint)))
        co_return ConnectionReport{false, std::string(toTranslate("Enter the account ID"))};
    HttpRequest request;
    request.url = *probe;
    request.timeout = probeTimeout;
    if (!apiKey.empty())
        request.headers.emplace_back("Authorization", "Bearer " + apiKey);
    const auto response = co_await http_.perform(std::move(request));
    if (!response)
        co_return ConnectionReport{false, explanationOf(response.error())};
    if (response->status == 401 || response->status == 403)
        co_return ConnectionReport{
            false, std::string(toTranslate("The server answers, but it refuses the API key."))};
    if (response->status >= 500)
        co_return ConnectionReport{false, STTError::http(response->status).longText()};
    co_return ConnectionReport{true, std::string(toTranslate("The server answers."))};
}

bool gotStuck(std::string_view transcript) {
    int emptyInARow = 0;
    std::string piece;
    const auto endPiece = [&] {
        if (!piece.empty())
            emptyInARow = comparisonForm(piece).empty() ? emptyInARow + 1 : 0;
        piece.clear();
        return emptyInARow > mostEmptyPieces;
    };
    for (std::size_t i = 0; i < transcript.size();) {
        const auto rest = transcript.substr(i);
        const auto mark = std::ranges::find_if(
            sentenceMarks, [rest](std::string_view one) { return rest.starts_with(one); });
        if (mark != sentenceMarks.end()) {
            piece += *mark;
            i += mark->size();
            if (endPiece())
                return true;
            continue;
        }
        const char c = transcript[i++];
        const bool space = c == ' ' || c == '\n' || c == '\t' || c == '\r';
        if (!space)
            piece += c;
        else if (endPiece())
            return true;
    }
    return endPiece();
}

}  // namespace quillet
