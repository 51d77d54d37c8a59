#include "speech/STTError.h"

#include <fmt/format.h>

namespace quillet {

std::string STTError::shortText() const {
    switch (kind) {
        case Kind::network:
            return "Network error";
        case Kind::http:
            return fmt::format("STT server: HTTP {}", status);
        case Kind::noInputDevice:
            return "Microphone unavailable";
        case Kind::noAudioCaptured:
            return "No microphone audio";
        case Kind::noPermission:
            return "Microphone permission denied";
        case Kind::notConfigured:
            return "Speech service not set up";
        case Kind::parseFailure:
            return "STT response parse failed";
        case Kind::engineUnavailable:
            return message.empty() ? "Speech engine unavailable" : message;
        case Kind::notAllowed:
            return "AI is off";
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
            return "No audio input device available.";
        case Kind::noAudioCaptured:
            return "No microphone audio was captured.";
        case Kind::noPermission:
            return "Microphone or speech recognition permission denied.";
        case Kind::notConfigured:
            return "STT endpoint or API key is not configured.";
        case Kind::parseFailure:
            return "Failed to parse STT server response.";
        case Kind::engineUnavailable:
            return message.empty() ? "Speech recognition engine unavailable." : message;
        case Kind::notAllowed:
            return "You have not allowed this service. Allow it in Settings → Privacy, or with "
                   "`quillet consent allow`.";
    }
    return {};
}

}  // namespace quillet
