#pragma once

#include <functional>
#include <memory>
#include <stop_token>

#include "app/RecordingSession.h"
#include "audio/RecordingArchive.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "base/async/WaitingLine.h"
#include "mcp/AgentControl.h"
#include "speech/SpeechSession.h"
#include "speech/cleanup/VocabularyRules.h"

namespace quillet {

/// What AI clients may have dictation and recognition do. Belongs to the main queue's thread; its
/// calls must have ended before it goes.
///
/// Of all that clients want transcribed one thing at a time is, so that they neither stand in the
/// way of the user's own dictation nor take memory for more than one.
class AgentAccess final : public AgentControl {
public:
    /// Makes samples of an open file in any of the containers, of this length at most. Blocks, but
    /// ends early when it is stopped; the error is a sentence.
    using Decode = std::function<std::expected<std::vector<std::int16_t>, std::string>(
        const FileDescriptor& file, std::chrono::seconds longest, const std::stop_token& stop)>;

    struct Services {
        Loop& loop;
        Scheduler& scheduler;
        const Calendar& calendar;
        AppSettings& settings;
        RecordingSession& session;
        RecordingArchive& archive;
        OnDeviceTranscriber& onDevice;
        SpeechClient& speechClient;
        VocabularyDB& vocabulary;
        /// Where files are read and decoded, which takes seconds: nobody else's.
        std::shared_ptr<SerialQueue> worker;
        /// Asked on the worker. The libraries that can do it are many, and rarely needed.
        Decode decode;
        Log log;
        /// Names and terms that the user is known to say.
        std::function<std::vector<std::string>()> terms;
    };

    /// What is longer is not recognised on the device.
    static constexpr std::chrono::hours longestFile{3};

    explicit AgentAccess(Services services);

    [[nodiscard]] asio::awaitable<Text> dictate(std::chrono::seconds atMost) override;
    [[nodiscard]] asio::awaitable<std::expected<void, std::string>> type(std::string text) override;
    [[nodiscard]] asio::awaitable<std::vector<Recording>> recordings() override;
    [[nodiscard]] asio::awaitable<std::optional<Text>> transcribeRecording(std::string id) override;
    [[nodiscard]] asio::awaitable<Text> transcribeFile(AudioFile file) override;

private:
    using Samples = std::vector<std::int16_t>;
    using Transcript = std::expected<std::string, STTError>;
    struct Recognition {
        Transcript transcript;
        std::string engine;      ///< what recognised it, or failed to
        std::string keyProblem;  ///< why its key could not be read, as a sentence
    };

    asio::awaitable<std::expected<Samples, std::string>> decoded(const AudioFile& file);
    asio::awaitable<Recognition> recognise(Samples samples);
    asio::awaitable<Text> askServer(const AudioFile& file);
    asio::awaitable<std::expected<SpeechClient::Job, std::string>> jobFor(
        const AudioFile& file, const QuilletSettings& settings);
    asio::awaitable<Transcript> standInFor(STTError error, const AudioFile& file,
                                           std::string language);
    asio::awaitable<Text> concluded(Recognition recognition);

    Services services_;
    VocabularyRules vocabulary_;
    WaitingLine transcriptions_;
    TaskScope tasks_;
};

}  // namespace quillet
