#pragma once

#include <string>

namespace quillet {

/// Why there is no transcript.
struct STTError {
    enum class Kind {
        network,
        http,
        noInputDevice,
        noAudioCaptured,
        noPermission,
        notConfigured,
        parseFailure,
        engineUnavailable,
        notAllowed,
    };
    Kind kind = Kind::engineUnavailable;
    std::string message;  ///< network: what happened; engineUnavailable: the engine's own sentence
    long status = 0;      ///< http

    [[nodiscard]] static STTError of(Kind kind) { return {kind, {}, 0}; }
    [[nodiscard]] static STTError network(std::string message) {
        return {Kind::network, std::move(message), 0};
    }
    [[nodiscard]] static STTError http(long status) { return {Kind::http, {}, status}; }

    /// For the floating panel, in the user's language.
    [[nodiscard]] std::string shortText() const;
    /// For the settings page and the log; English.
    [[nodiscard]] std::string longText() const;

    friend bool operator==(const STTError&, const STTError&) = default;
};

}  // namespace quillet
