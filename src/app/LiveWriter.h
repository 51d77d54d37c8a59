#pragma once

#include <asio/awaitable.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/Delivery.h"
#include "app/Utterance.h"
#include "audio/DictationEngine.h"
#include "base/async/Event.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/FrontApplication.h"
#include "platform/IdSource.h"
#include "speech/SpeechSession.h"

namespace quillet {

/// What live writing has come to.
struct LiveState {
    TaskHandle chain;                 ///< writes the segments one after another
    std::vector<std::string> raw;     ///< transcripts of the segments, as recognised
    std::vector<std::string> output;  ///< their results
    std::string unpasted;             ///< results that are not typed yet
    int failed = 0;                   ///< segments that could not be recognised
};

/// Writes while recording goes on: cuts the running recording at pauses, and has each segment
/// recognised, written and typed into the application that live writing began in. Segments are
/// recognised side by side, and typed in the order in which they were spoken. What cannot be typed,
/// because another application is in front or a password field has the focus, waits.
///
/// Belongs to the main queue's thread.
class LiveWriter {
public:
    struct Services {
        DictationEngine& engine;
        Delivery& delivery;
        FrontApplication& frontApplication;
        IdSource& ids;
        Scheduler& scheduler;
        TaskScope& tasks;  ///< owns what is under way; outlives this
        AppSettings& settings;
        Log log;
        /// Says something to the user.
        std::function<void(std::string_view)> notice;
        /// Begins the recognition of one segment.
        std::function<std::shared_ptr<SpeechSession>()> recognise;
        std::function<void()> typed;  ///< some of it has been typed
    };
    struct Summary {
        int segments = 0;
        int failed = 0;
        std::string rest;               ///< what could not be typed
        bool appChanged = false;        ///< because another application is in front
        std::optional<STTError> error;  ///< of the last segment that failed
    };

    explicit LiveWriter(Services services);

    /// From now on segments are cut, for this utterance, which must stay until the end.
    void begin(const Utterance& utterance);
    /// The recording has been stopped: writes its last piece and all that is still under way.
    [[nodiscard]] asio::awaitable<Summary> finish(StoppedRecording stopped);
    /// Gives up: what is not typed yet is not typed any more.
    void discard();
    /// The same, but what was not typed yet is kept as recordings.
    [[nodiscard]] asio::awaitable<void> keepUnfinished();

    /// What could not be typed is where the user can have it.
    void restIsSafe();

    [[nodiscard]] const LiveState& state() const { return live_; }
    /// All that was heard, and all that was written, each as one text.
    [[nodiscard]] std::string joinedRaw() const;
    [[nodiscard]] std::string joinedOutput() const;

private:
    struct Piece;
    using PiecePtr = std::shared_ptr<Piece>;

    asio::awaitable<void> cutAtPauses();
    void add(DictationEngine::Segment segment);
    void startRecognitions();
    asio::awaitable<void> recognise(PiecePtr piece);
    asio::awaitable<void> leaveOnDisk(PiecePtr piece);
    asio::awaitable<void> writeInOrder();
    asio::awaitable<void> write(PiecePtr piece);
    void wrote(std::string raw, const TextPipeline::Written& written);
    asio::awaitable<void> typeWaiting();
    [[nodiscard]] bool canType() const;
    [[nodiscard]] bool isInFront() const;
    [[nodiscard]] Utterance situation() const;
    void stopWork();

    Services services_;
    const Utterance* utterance_ = nullptr;  // of the run that is under way
    LiveState live_;
    int liveGeneration_ = 0;       // results of an older run are dropped
    std::deque<PiecePtr> pieces_;  // not written yet, in the order of speaking
    /// Recordings of what is written and not typed yet: of that, no crash shall leave nothing.
    std::vector<std::unique_ptr<RecordingArchive::Spool>> untyped_;
    std::string nextRecordingId_;
    int segments_ = 0;
    std::optional<STTError> error_;
    bool finishing_ = false;
    bool blocked_ = false;  // what waits could not be typed: no further try for a moment
    int ticks_ = 0;
    Event changed_;  // there may be something to write or to type
    Event done_;     // everything is written
    TaskHandle liveTimer_;
    std::vector<TaskHandle> work_;
};

}  // namespace quillet
