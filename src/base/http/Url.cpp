#include "base/http/Url.h"

#include <curl/curl.h>
#include <fmt/format.h>

#include <charconv>
#include <memory>

#include "base/text/Text.h"

namespace quillet {

namespace {

std::string part(CURLU* url, CURLUPart which, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, flags) != CURLUE_OK)
        return {};
    std::string copy = text;
    curl_free(text);
    return copy;
}

}  // namespace

std::string Url::origin() const {
    return fmt::format("{}://{}:{}", scheme, host, port);
}

std::string Url::server() const {
    constexpr std::uint16_t usualHttps = 443;
    if (scheme != "https")
        return origin();
    return port == usualHttps ? host : fmt::format("{}:{}", host, port);
}

std::optional<Url> parseUrl(std::string_view text) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
    if (curl_url_set(url.get(), CURLUPART_URL, std::string(text).c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    Url parsed;
    parsed.scheme = asciiLowered(part(url.get(), CURLUPART_SCHEME));
    parsed.host = asciiLowered(part(url.get(), CURLUPART_HOST));
    parsed.path = part(url.get(), CURLUPART_PATH);
    parsed.hasUserInfo =
        !part(url.get(), CURLUPART_USER).empty() || !part(url.get(), CURLUPART_PASSWORD).empty();
    const auto port = part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    std::from_chars(port.data(), port.data() + port.size(), parsed.port);
    const bool web = parsed.scheme == "http" || parsed.scheme == "https";
    if (!web || parsed.host.empty())
        return std::nullopt;
    return parsed;
}

std::string hostOf(std::string_view text) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
    if (curl_url_set(url.get(), CURLUPART_URL, std::string(text).c_str(),
                     CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
        return {};
    return asciiLowered(part(url.get(), CURLUPART_HOST));
}

}  // namespace quillet
