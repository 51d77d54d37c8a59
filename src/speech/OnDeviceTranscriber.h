#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace quillet {

/// Speech recognition that stays on this machine.
class OnDeviceTranscriber {
public:
    enum class Failure { permission, unavailable, unsupportedLanguage };

    /// Recognition of one recording while it is made. `feed` may come from any one thread; the
    /// rest belongs to the main queue. Destroying it abandons the recognition.
    class Stream {
    public:
        virtual ~Stream() = default;
        /// Takes the next 16 kHz mono samples. Returns at once: decoding happens elsewhere.
        virtual void feed(std::span<const std::int16_t> samples) = 0;
        /// Says that all has been fed and waits for the transcript.
        [[nodiscard]] virtual asio::awaitable<std::expected<std::string, Failure>> finish() = 0;
    };
    using OnPartial = std::function<void(std::string text)>;

    virtual ~OnDeviceTranscriber() = default;

    /// Whether recordings in this language ("en", "zh", "mixed", …) can be recognised now. Cheap.
    [[nodiscard]] virtual std::expected<void, Failure> supports(std::string_view language) = 0;

    /// Begins to recognise. `onPartial` is called on the main queue with all the text recognised so
    /// far, each time it has changed, until the stream is finished or destroyed. Failures that show
    /// only later are the result of `finish`.
    [[nodiscard]] virtual std::unique_ptr<Stream> stream(std::string language,
                                                         OnPartial onPartial) = 0;

    /// Recognises a finished recording.
    [[nodiscard]] virtual asio::awaitable<std::expected<std::string, Failure>> recognise(
        std::shared_ptr<const std::vector<std::int16_t>> samples, std::string language) = 0;
};

/// The sentence that the user reads.
[[nodiscard]] std::string_view explanation(OnDeviceTranscriber::Failure failure);

}  // namespace quillet
