#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "settings/AppSettings.h"
#include "speech/OnDeviceTranscriber.h"
#include "speech/STTError.h"
#include "speech/SpeechClient.h"

namespace quillet {

/// The recognition of one dictation, by the engine that the settings name, from the first sample
/// to the transcript. What can be done while the user still speaks is done then: the device
/// decodes, the keychain is asked, the connection to the server is opened.
///
/// A server that is slow is raced against Whisper on the user's own Cloudflare account, where the
/// settings ask for that; where no server answers, the device recognises.
///
/// Belongs to the main queue's thread, but for `feed`, which the audio thread may call.
class SpeechSession {
public:
    struct Services {
        OnDeviceTranscriber& onDevice;
        SpeechClient& client;
        AppSettings& settings;
        Scheduler& scheduler;
        /// Where what is asked beside the recording is owned; outlives the session.
        TaskScope& tasks;
        Log log;
        std::vector<std::string> terms;  ///< names and terms that the user says
    };

    using Samples = std::shared_ptr<const std::vector<std::int16_t>>;

    struct Recognition {
        std::string text;    ///< empty when there was no speech
        std::string notice;  ///< what the user shall know of the way that it came; may be empty
    };
    using Result = std::expected<Recognition, STTError>;

    enum class Source {
        microphone,  ///< samples are fed as they come
        recording,   ///< all samples are given to `finish`; nothing is fed
    };

    /// Begins at once. `onPartial` gets the text recognised so far, where the device recognises
    /// it and the settings ask for it.
    SpeechSession(Services services, Source source, OnDeviceTranscriber::OnPartial onPartial);

    void feed(std::span<const std::int16_t> samples);

    /// The transcript, once everything has been fed. `samples` is the whole recording.
    [[nodiscard]] asio::awaitable<Result> finish(Samples samples);

    /// How the engine is called in messages.
    [[nodiscard]] std::string engineName() const;
    /// Why the server's key could not be read, as a sentence; empty when it could.
    [[nodiscard]] std::string keyProblem() const;

private:
    using Transcript = std::expected<std::string, STTError>;
    using Audio = std::shared_ptr<const TranscriptionRequest::Audio>;

    [[nodiscard]] bool isOnDevice() const { return record_.sttEngineType == STTEngineType::apple; }
    [[nodiscard]] std::string onDeviceLanguage() const;
    [[nodiscard]] std::string endpoint() const;
    struct Key;
    void fetchKey(const std::shared_ptr<Key>& key, std::string name, std::string url);
    static asio::awaitable<void> readKey(AppSettings& settings, std::string name, std::string url,
                                         Log log, std::shared_ptr<Key> key);
    [[nodiscard]] SpeechClient::Job job(std::string url, std::string key, Audio audio) const;
    [[nodiscard]] static Result plainly(Transcript transcript);
    asio::awaitable<Transcript> finishOnDevice(Samples samples);
    asio::awaitable<Result> finishAtServer(Samples samples);
    asio::awaitable<Result> raceWithBackup(Audio audio, SpeechClient::Job primary);
    asio::awaitable<Transcript> askBackup(Audio audio);
    asio::awaitable<Result> standInFor(STTError error, Samples samples);

    Services services_;
    QuilletSettings record_;  // as it was when the dictation began
    // Shared with the tasks that read them, which may outlive this.
    std::shared_ptr<Key> key_;
    std::shared_ptr<Key> backupKey_;  // none: there is no backup
    std::unique_ptr<OnDeviceTranscriber::Stream> stream_;
    std::optional<OnDeviceTranscriber::Failure> onDeviceFailure_;
};

/// How long a server may take over a recording of this length.
[[nodiscard]] std::chrono::milliseconds transcriptionTimeout(double seconds);

}  // namespace quillet
