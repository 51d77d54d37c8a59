#pragma once

#include <asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>

#include "audio/RecordingArchive.h"
#include "base/async/SerialQueue.h"
#include "settings/AppSettings.h"
#include "speech/SpeechClient.h"

namespace quillet {

/// Has kept recordings transcribed again by the user's own speech server. The device would only
/// hear the same again. Belongs to the main queue's thread.
class SecondHearing {
public:
    struct Services {
        AppSettings& settings;
        RecordingArchive& archive;
        SpeechClient& client;
        std::shared_ptr<SerialQueue> worker;
    };

    explicit SecondHearing(Services services) : services_(std::move(services)) {}

    /// None where there is no server, no such recording, or no answer.
    [[nodiscard]] asio::awaitable<std::optional<std::string>> hear(std::string recording);

private:
    Services services_;
};

}  // namespace quillet
