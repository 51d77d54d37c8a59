#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/http/HttpClient.h"
#include "platform/IdSource.h"
#include "settings/CloudflareAccount.h"

namespace quillet {

/// The request that asks a speech server for a transcript. What differs between servers is told
/// from the address alone.
struct TranscriptionRequest {
    /// A finished recording.
    struct Audio {
        std::string data;           ///< encoded bytes
        std::string fileExtension;  ///< "m4a", "wav", "ogg"…, without a dot
        double seconds = 0;
    };

    std::string url;
    std::string apiKey;  ///< empty for none
    std::shared_ptr<const Audio> audio;
    std::optional<std::string> language;  ///< none for speech that mixes languages
    std::string model;                    ///< empty for the server's own choice
    std::string prompt;                   ///< empty for none
    bool vadOff = false;                  ///< ask the server not to look for silence by itself
    std::string fileStem = "audio";
    std::chrono::milliseconds timeout{60'000};

    /// The request's bytes. Each call draws a fresh multipart boundary.
    [[nodiscard]] HttpRequest build(IdSource& ids) const;
};

/// Whether the address is Whisper at Cloudflare: its API, or the user's own Worker there.
[[nodiscard]] bool isCloudflareWhisper(std::string_view url);

/// Whether the address is at Cloudflare's API, whatever its path.
[[nodiscard]] bool isCloudflareApi(std::string_view url);

/// The address of Whisper for an account.
[[nodiscard]] std::string cloudflareWhisperUrl(std::string_view accountId);

}  // namespace quillet
