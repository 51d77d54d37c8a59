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
/// Belongs to the main queue's thread, but for `feed`, which the audio thread may call.
class SpeechSession {
public:
    struct Services {
        OnDeviceTranscriber& onDevice;
        SpeechClient& client;
        AppSettings& settings;
        /// Where what is asked beside the recording is owned; outlives the session.
        TaskScope& tasks;
        Log log;
    };

    enum class Source {
        microphone,  ///< samples are fed as they come
        recording,   ///< all samples are given to `finish`; nothing is fed
    };

    /// Begins at once. `onPartial` gets the text recognised so far, where the device recognises
    /// it and the settings ask for it.
    SpeechSession(Services services, Source source, OnDeviceTranscriber::OnPartial onPartial);

    void feed(std::span<const std::int16_t> samples);

    /// The transcript, once everything has been fed; empty when there was no speech. `samples` is
    /// the whole recording.
    [[nodiscard]] asio::awaitable<std::expected<std::string, STTError>> finish(
        std::shared_ptr<const std::vector<std::int16_t>> samples);

    /// How the engine is called in messages.
    [[nodiscard]] std::string engineName() const;
    /// Why the server's key could not be read, as a sentence; empty when it could.
    [[nodiscard]] std::string keyProblem() const;

private:
    [[nodiscard]] bool isOnDevice() const { return record_.sttEngineType == STTEngineType::apple; }
    [[nodiscard]] std::string onDeviceLanguage() const;
    struct Key;
    static asio::awaitable<void> readKey(AppSettings& settings, std::string url, Log log,
                                         std::shared_ptr<Key> key);
    asio::awaitable<std::expected<std::string, STTError>> finishOnDevice(
        std::shared_ptr<const std::vector<std::int16_t>> samples);
    asio::awaitable<std::expected<std::string, STTError>> finishAtServer(
        std::shared_ptr<const std::vector<std::int16_t>> samples);

    Services services_;
    QuilletSettings record_;    // as it was when the dictation began
    std::shared_ptr<Key> key_;  // shared with the task that reads it, which may outlive this
    std::unique_ptr<OnDeviceTranscriber::Stream> stream_;
    std::optional<OnDeviceTranscriber::Failure> onDeviceFailure_;
};

/// How long a server may take over a recording of this length.
[[nodiscard]] std::chrono::milliseconds transcriptionTimeout(double seconds);

}  // namespace quillet
