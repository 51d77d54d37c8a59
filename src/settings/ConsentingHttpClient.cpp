#include "settings/ConsentingHttpClient.h"

#include <fmt/format.h>

namespace quillet {

asio::awaitable<bool> ConsentingHttpClient::permitted(std::string url) {
    auto service = Consent::serviceOf(purpose_, url);
    // Nothing goes to what is no address; the client says what is wrong with it.
    co_return !service || co_await consent_.settled(std::move(*service));
}

asio::awaitable<HttpClient::Result> ConsentingHttpClient::perform(HttpRequest request) {
    const auto service = Consent::serviceOf(purpose_, request.url);
    if (service && !co_await consent_.settled(*service)) {
        auto sentence = fmt::format(
            "You have not allowed this service. Allow it in Settings → Privacy, or with `quillet "
            "consent allow {}`.",
            service->name());
        co_return std::unexpected(HttpError{HttpError::Kind::notAllowed, std::move(sentence)});
    }
    co_return co_await client_.perform(std::move(request));
}

void ConsentingHttpClient::prewarm(std::string_view url) {
    const auto service = Consent::serviceOf(purpose_, url);
    if (service && consent_.decision(*service) == ConsentDecision::allowed)
        client_.prewarm(url);
}

}  // namespace quillet
