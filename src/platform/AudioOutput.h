#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <string>

namespace quillet {

/// The loudspeakers, as far as muting goes.
class AudioOutput {
public:
    enum class Error { unavailable };
    struct State {
        std::string device;  ///< the platform's name of the output in use
        bool muted = false;
    };

    virtual ~AudioOutput() = default;

    [[nodiscard]] virtual asio::awaitable<std::expected<State, Error>> state() = 0;
    /// Sets the mute switch of the named device. A device that is gone is an error.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, Error>> setMuted(std::string device,
                                                                               bool muted) = 0;
};

}  // namespace quillet
