#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "base/file/FileDescriptor.h"
#include "platform/Calendar.h"

namespace quillet {

/// What the tools for AI clients ask of dictation and of speech recognition. All calls belong to
/// the main queue's thread. Errors are sentences for the client. Cancelled, a call is given up.
class AgentControl {
public:
    using Text = std::expected<std::string, std::string>;

    struct Recording {
        std::string id;
        Calendar::UnixTime time;
        double seconds = 0;
        std::optional<std::string> transcript;  ///< where its recognition succeeded
    };
    /// An audio file that was found good and opened.
    struct AudioFile {
        FileDescriptor file;
        std::int64_t bytes = 0;
        std::string fileExtension;  ///< in lower case, without a dot
    };

    virtual ~AgentControl() = default;

    /// Has the user speak, and gives what they said, cleaned up, instead of typing it.
    [[nodiscard]] virtual asio::awaitable<Text> dictate(std::chrono::seconds atMost) = 0;
    /// Types a text where the user types.
    [[nodiscard]] virtual asio::awaitable<std::expected<void, std::string>> type(
        std::string text) = 0;

    /// The recordings that are kept, newest first.
    [[nodiscard]] virtual asio::awaitable<std::vector<Recording>> recordings() = 0;
    /// What is said in a recording, by the user's own recognition settings, with the vocabulary
    /// applied. None: there is no such recording.
    [[nodiscard]] virtual asio::awaitable<std::optional<Text>> transcribeRecording(
        std::string id) = 0;
    /// The same of a file.
    [[nodiscard]] virtual asio::awaitable<Text> transcribeFile(AudioFile file) = 0;
};

}  // namespace quillet
