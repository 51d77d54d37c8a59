#include "speech/STTError.h"

#include <fmt/format.h>

#include "base/text/Translation.h"

namespace quillet {

std::string STTError::shortText() const {
    switch (kind) {
        case Kind::network:
            return translated("Network error");
        case Kind::http:
            return fmt::format(fmt::runtime(translated("STT server: HTTP {}")), status);
        case Kind::noInputDevice:
            return translated("Microphone unavailable");
        case Kind::noAudioCaptured:
            return translated("No microphone audio");
        case Kind::noPermission:
            return translated("Microphone permission denied");
        case Kind::notConfigured:
            return translated("Speech service not set up");
        case Kind::parseFailure:
            return translated("STT response parse failed");
        case Kind::engineUnavailable:
            return translated(message.empty() ? "Speech engine unavailable" : message);
        case Kind::notAllowed:
            return translated("AI is off");
    }
    return {};
}

std::string STTError::longText() const {
    switch (kind) {
        case Kind::network:
            return message.empty() ? "Network error" : fmt::format("Network error: {}", message);
        case Kind::http:
            return fmt::format("STT server returned HTTP {}.", status);
        case Kind::noInputDevice:
            return std::string(toTranslate("No audio input device available."));
        case Kind::noAudioCaptured:
            return std::string(toTranslate("No microphone audio was captured."));
        case Kind::noPermission:
            return std::string(toTranslate("Microphone or speech recognition permission denied."));
        case Kind::notConfigured:
            return std::string(toTranslate("STT endpoint or API key is not configured."));
        case Kind::parseFailure:
            return std::string(toTranslate("Failed to parse STT server response."));
        case Kind::engineUnavailable:
            return message.empty() ? "Speech recognition engine unavailable." : message;
        case Kind::notAllowed:
            return std::string(toTranslate(
                "You have not allowed this service. Allow it in Settings → Privacy, or with "
                "`quillet consent allow`."));
    }
    return {};
}

}  // namespace quillet
