#include "speech/TranscriptionRequest.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "base/http/Url.h"

namespace quillet {

namespace {

constexpr std::string_view cloudflareApiHost = "api.cloudflare.com";
constexpr std::string_view workerHostStart = "quillet-ai.";
constexpr std::string_view workerHostEnd = ".workers.dev";
constexpr std::string_view whisperPathEnd = "/ai/run/@cf/openai/whisper-large-v3-turbo";

/// Servers of the vendors themselves, which refuse fields that they do not know.
constexpr std::array<std::string_view, 2> officialHosts = {"api.openai.com", "api.groq.com"};

/// Seven hours of fast Chinese.
constexpr std::size_t largestTranscript = 256UL << 10U;

constexpr std::string_view fullWidthColon = "：";

std::string_view contentType(std::string_view extension) {
    if (extension == "m4a" || extension == "mp4")
        return "audio/mp4";
    if (extension == "wav")
        return "audio/wav";
    if (extension == "mp3")
        return "audio/mpeg";
    if (extension == "flac")
        return "audio/flac";
    if (extension == "ogg")
        return "audio/ogg";
    if (extension == "webm")
        return "audio/webm";
    if (extension == "aac")
        return "audio/aac";
    return "application/octet-stream";
}

std::string base64(std::string_view bytes) {
    static constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto group = bytes.substr(i, 3);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (k < group.size() ? static_cast<unsigned char>(group[k]) : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            text += k <= group.size() ? digits[bits >> (18 - 6 * k) & 63U] : '=';
    }
    return text;
}

std::string withColonsSpaced(std::string text) {
    for (auto at = text.find(fullWidthColon); at != std::string::npos;
         at = text.find(fullWidthColon, at))
        text.replace(at, fullWidthColon.size(), " ");
    return text;
}

bool isOfficialHost(std::string_view url) {
    const auto parsed = parseUrl(url);
    return parsed && std::ranges::find(officialHosts, parsed->host) != officialHosts.end();
}

void addField(std::string& body, std::string_view boundary, std::string_view name,
              std::string_view value) {
    fmt::format_to(std::back_inserter(body),
                   "--{}\r\nContent-Disposition: form-data; name=\"{}\"\r\n\r\n{}\r\n", boundary,
                   name, value);
}

std::string multipartBody(const TranscriptionRequest& rq, std::string_view boundary) {
    std::string body;
    body.reserve(rq.audio->data.size() + 4'096);
    if (rq.language)
        addField(body, boundary, "language", *rq.language);
    addField(body, boundary, "temperature", "0");
    if (!rq.model.empty())
        addField(body, boundary, "model", rq.model);
    if (!rq.prompt.empty())
        addField(body, boundary, "prompt", rq.prompt);
    if (!isOfficialHost(rq.url)) {
        if (rq.vadOff)
            addField(body, boundary, "vad", "0");
        addField(body, boundary, "strict", "1");
    }
    auto fileName = fmt::format("{}.{}", rq.fileStem, rq.audio->fileExtension);
    // Nothing in it may end the quotes or the line that it stands in.
    std::erase_if(fileName, [](unsigned char c) { return c < ' ' || c == '"' || c == '\\'; });
    fmt::format_to(std::back_inserter(body),
                   "--{}\r\nContent-Disposition: form-data; name=\"file\"; "
                   "filename=\"{}\"\r\nContent-Type: {}\r\n\r\n",
                   boundary, fileName, contentType(rq.audio->fileExtension));
    body += rq.audio->data;
    fmt::format_to(std::back_inserter(body), "\r\n--{}--\r\n", boundary);
    return body;
}

/// None when the fields cannot be written as JSON.
std::shared_ptr<const std::string> cloudflareBody(const TranscriptionRequest& rq) {
    nlohmann::json body = {{"vad_filter", false},
                           {"condition_on_previous_text", false},
                           {"compression_ratio_threshold", 2.0},
                           {"no_speech_threshold", 0.6},
                           {"log_prob_threshold", -1.0},
                           {"hallucination_silence_threshold", 2},
                           {"beam_size", 5},
                           {"audio", base64(rq.audio->data)}};
    const auto prompt = withColonsSpaced(rq.prompt);
    if (!prompt.empty())
        body["initial_prompt"] = prompt;
    if (rq.language)
        body["language"] = *rq.language;
    try {
        return std::make_shared<const std::string>(body.dump());
    } catch (const nlohmann::json::exception&) {
        return nullptr;
    }
}

}  // namespace

HttpRequest TranscriptionRequest::build(IdSource& ids) const {
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.timeout = timeout;
    request.largestAnswer = largestTranscript;
    request.headers.emplace_back("Cache-Control", "no-cache");
    if (isCloudflareWhisper(url)) {
        request.headers.emplace_back("Content-Type", "application/json");
        request.body = cloudflareBody(*this);
    } else {
        const auto boundary = "Boundary-" + ids.uuid();
        request.headers.emplace_back("Content-Type", "multipart/form-data; boundary=" + boundary);
        request.body = std::make_shared<const std::string>(multipartBody(*this, boundary));
    }
    if (!apiKey.empty())
        request.headers.emplace_back("Authorization", "Bearer " + apiKey);
    return request;
}

bool isCloudflareWhisper(std::string_view url) {
    const auto parsed = parseUrl(url);
    if (!parsed || !parsed->path.ends_with(whisperPathEnd))
        return false;
    const bool ownWorker =
        parsed->host.starts_with(workerHostStart) && parsed->host.ends_with(workerHostEnd);
    return parsed->host == cloudflareApiHost || ownWorker;
}

bool isCloudflareApi(std::string_view url) {
    const auto parsed = parseUrl(url);
    return parsed && parsed->host == cloudflareApiHost;
}

std::string cloudflareWhisperUrl(std::string_view accountId) {
    return fmt::format("https://{}/client/v4/accounts/{}{}", cloudflareApiHost, accountId,
                       whisperPathEnd);
}

}  // namespace quillet
