#pragma once

#include <string>
#include <string_view>

namespace quillet {

/// What a server is used for. What is sent differs by that, so the user is asked for each.
enum class ServicePurpose {
    speech,         ///< recordings, to be written down
    languageModel,  ///< texts, to be rewritten or summed up
    modelDownload,  ///< nothing of the user's; files are fetched from there
};

[[nodiscard]] constexpr std::string_view nameOf(ServicePurpose purpose) {
    switch (purpose) {
        case ServicePurpose::speech:
            return "speech";
        case ServicePurpose::languageModel:
            return "language-model";
        case ServicePurpose::modelDownload:
            return "models";
    }
    return {};
}

/// A server together with what it is used for: what a user allows or denies.
struct ServiceID {
    ServicePurpose purpose = ServicePurpose::speech;
    std::string host;  ///< as `Url::server` says it: "host", "host:8443", "http://host:80"

    /// "speech@api.example.com"
    [[nodiscard]] std::string name() const { return std::string(nameOf(purpose)) + "@" + host; }
    friend auto operator<=>(const ServiceID&, const ServiceID&) = default;
};

}  // namespace quillet
