#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "Laws.h"
#include "MultipartReader.h"
#include "Parts.h"
#include "Targets.h"
#include "base/text/Text.h"
#include "speech/TranscriptionRequest.h"

namespace quillet::fuzz {

namespace {

constexpr const char* ownUrl = "https://speech.example/v1/audio/transcriptions";
constexpr const char* officialUrl = "https://api.openai.com/v1/audio/transcriptions";
constexpr const char* cloudflareUrl =
    "https://api.cloudflare.com/client/v4/accounts/0123456789abcdef0123456789abcdef/ai/run/@cf/"
    "openai/whisper-large-v3-turbo";

constexpr std::string_view lineBreaks = {"\r\n\0", 3};

/// Ids that no input holds: they are drawn from the whole of it, so that they change with it.
class UnknownIds final : public IdSource {
public:
    explicit UnknownIds(std::string_view input) : seed_(std::hash<std::string_view>{}(input)) {}
    std::string uuid() override { return fmt::format("{:016X}", seed_); }

private:
    std::size_t seed_;
};

std::string headerOf(const HttpRequest& request, std::string_view name) {
    for (const auto& [one, value] : request.headers) {
        if (one == name)
            return value;
    }
    broken("a request has the headers that it needs", name);
}

void checkHeaders(const HttpRequest& request) {
    for (const auto& [name, value] : request.headers)
        require(value.find_first_of(lineBreaks) == std::string::npos, "a header is one line",
                value);
}

std::vector<FormPart> expectedParts(const TranscriptionRequest& rq, bool official) {
    std::vector<FormPart> parts;
    const auto add = [&parts](std::string name, std::string value) {
        parts.push_back({std::move(name), {}, {}, std::move(value)});
    };
    if (rq.language)
        add("language", *rq.language);
    add("temperature", "0");
    if (!rq.model.empty())
        add("model", rq.model);
    if (!rq.prompt.empty())
        add("prompt", rq.prompt);
    if (!official && rq.vadOff)
        add("vad", "0");
    if (!official)
        add("strict", "1");
    return parts;
}

void checkForm(TranscriptionRequest rq, const char* url, IdSource& ids) {
    rq.url = url;
    const auto request = rq.build(ids);
    checkHeaders(request);
    std::string_view type = "multipart/form-data; boundary=";
    const auto boundary = headerOf(request, "Content-Type").substr(type.size());
    auto parts = readForm(*request.body, boundary);
    require(parts.has_value(), "a form can be read", *request.body);
    require(!parts->empty() && parts->back().fileName, "the recording comes last", *request.body);
    require(parts->back().name == "file", "the recording is called a file", parts->back().name);
    requireSame(parts->back().content, rq.audio->data, "the recording is sent as it is");
    parts->pop_back();
    require(*parts == expectedParts(rq, url == officialUrl), "a form has these fields, no others",
            *request.body);
}

void checkJson(TranscriptionRequest rq, IdSource& ids) {
    rq.url = cloudflareUrl;
    const auto request = rq.build(ids);
    checkHeaders(request);
    const bool writable = isValidUtf8(rq.prompt) && (!rq.language || isValidUtf8(*rq.language));
    require(writable == (request.body != nullptr), "a body is what JSON can hold");
    if (!writable)
        return;
    const auto body = nlohmann::json::parse(*request.body);
    if (rq.language)
        requireSame(body.at("language").get<std::string>(), *rq.language, "the language is told");
    require(body.at("audio").get<std::string>().size() == (rq.audio->data.size() + 2) / 3 * 4,
            "the recording is sent whole");
}

}  // namespace

/// Parts: language, model, prompt, the file's stem and its extension, the key, the recording.
void multipart(std::string_view input) {
    Parts parts(input);
    TranscriptionRequest rq;
    if (const auto language = parts.next(); !language.empty())
        rq.language = language;
    rq.model = parts.next();
    rq.prompt = parts.next();
    rq.vadOff = rq.prompt.empty();
    rq.fileStem = parts.next();
    const std::string extension(parts.next());
    const auto key = parts.next();
    rq.apiKey = key.substr(0, key.find_first_of(lineBreaks));  // one line is read of a key
    rq.audio = std::make_shared<TranscriptionRequest::Audio>(std::string(parts.last()), extension);
    UnknownIds ids(input);
    checkForm(rq, ownUrl, ids);
    checkForm(rq, officialUrl, ids);
    checkJson(rq, ids);
}

}  // namespace quillet::fuzz
