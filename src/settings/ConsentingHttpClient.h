#pragma once

#include "base/http/HttpClient.h"
#include "settings/Consent.h"

namespace quillet {

/// A client for one purpose that sends nothing, and opens no connection, to a host that the user
/// has not allowed for it. A request waits for the user's answer where he has not been asked yet;
/// what is not allowed ends with `notAllowed`. Belongs to the main queue's thread.
class ConsentingHttpClient final : public HttpClient {
public:
    /// Both must outlive it.
    ConsentingHttpClient(HttpClient& client, Consent& consent, ServicePurpose purpose)
        : client_(client), consent_(consent), purpose_(purpose) {}

    asio::awaitable<Result> perform(HttpRequest request) override;
    void prewarm(std::string_view url) override;
    asio::awaitable<bool> permitted(std::string url) override;

private:
    HttpClient& client_;
    Consent& consent_;
    ServicePurpose purpose_;
};

}  // namespace quillet
