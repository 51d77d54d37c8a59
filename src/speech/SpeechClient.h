#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <string>
#include <string_view>

#include "base/async/Scheduler.h"
#include "base/async/SerialQueue.h"
#include "base/http/HttpClient.h"
#include "base/log/Log.h"
#include "platform/IdSource.h"
#include "speech/STTError.h"
#include "speech/TranscriptionRequest.h"

namespace quillet {

/// Has a recording transcribed by a server. Stateless but for its services, which must outlive it;
/// any number of transcriptions may run at once. Cancelled, a request is abandoned.
class SpeechClient {
public:
    struct Job {
        TranscriptionRequest request;
        /// The setting; Chinese from Cloudflare is written in Simplified characters.
        std::string selectedLanguage;
        int attempts = 3;
        /// Where a large body is put together; none: where this is called.
        SerialQueue* worker = nullptr;
        /// Told of every attempt that failed, also of those after which it is tried again.
        std::function<void(const STTError&)> attemptFailed;
    };

    /// A part of a transcript, where the server tells of parts.
    struct Segment {
        double start = 0;  ///< seconds from the begin of the recording
        double end = 0;
        std::optional<std::string> speaker;  ///< the server's label of a voice
        std::string text;
    };
    struct Transcript {
        std::string text;
        std::vector<Segment> segments;  ///< in order; empty where the server tells of none
        bool skipped = false;           ///< the server said that it left the audio out
    };

    SpeechClient(HttpClient& http, Scheduler& scheduler, IdSource& ids, Log log);

    /// The raw transcript, trimmed; empty when the server heard no speech.
    [[nodiscard]] asio::awaitable<std::expected<std::string, STTError>> transcribe(Job job);
    /// The same with what the server tells of its parts.
    [[nodiscard]] asio::awaitable<std::expected<Transcript, STTError>> transcribeInParts(Job job);

    /// Opens the connection that the next transcription there will use.
    void prewarm(std::string_view url) { http_.prewarm(url); }

    /// Settles whether anything may be sent there, before what is limited in time begins.
    [[nodiscard]] asio::awaitable<bool> permitted(std::string url) {
        return http_.permitted(std::move(url));
    }

    /// A sentence on whether the server answers: good news, or what is wrong.
    struct ConnectionReport {
        bool reachable = false;
        std::string sentence;
    };
    [[nodiscard]] asio::awaitable<ConnectionReport> testConnection(std::string endpoint,
                                                                   std::string apiKey);

private:
    asio::awaitable<std::expected<Transcript, STTError>> attempt(const Job& job,
                                                                 std::string prompt);
    asio::awaitable<std::expected<Transcript, STTError>> attemptWithFallback(const Job& job);
    std::expected<Transcript, STTError> read(const Job& job, std::string_view prompt,
                                             const HttpResponse& response) const;

    HttpClient& http_;
    Scheduler& scheduler_;
    IdSource& ids_;
    Log log_;
};

/// Whether a transcript repeats nothing but marks: more than two pieces in a row without a letter
/// or a digit. Pieces end at white space and after Chinese sentence marks.
[[nodiscard]] bool gotStuck(std::string_view transcript);

}  // namespace quillet
