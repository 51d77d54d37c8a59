#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "app/FloatingPanel.h"
#include "app/HistoryWriter.h"
#include "app/HotkeyMode.h"
#include "app/Inserter.h"
#include "app/RecentDictations.h"
#include "app/SelectionCapture.h"
#include "app/TextPipeline.h"
#include "app/Utterance.h"
#include "audio/AudioLevelProvider.h"
#include "audio/DictationEngine.h"
#include "audio/OutputMuter.h"
#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "platform/Calendar.h"
#include "settings/AppSettings.h"
#include "speech/SpeechSession.h"
#include "store/SessionStore.h"

namespace quillet {

enum class RecognitionState { idle, recording, refining };

[[nodiscard]] std::string_view nameOf(RecognitionState state);

/// The conductor of a dictation: from a chord, through recording and recognition, to text in the
/// application in front and a row in the history. It holds the state; players do the work.
///
/// Belongs to the main queue's thread. Whatever happens to a dictation, what was said is typed,
/// copied, reachable with `pasteLast`, or kept as a recording.
class RecordingSession {
public:
    struct Services {
        Loop& loop;
        Scheduler& scheduler;
        Calendar& calendar;
        IdSource& ids;
        NotificationCenter& notifications;
        AppSettings& settings;
        AudioInput& audioInput;
        OutputMuter& muter;
        RecordingArchive& archive;
        OnDeviceTranscriber& onDevice;
        SpeechClient& speechClient;
        LLMRefiner& llmRefiner;
        VocabularyDB& vocabDB;
        SessionStore& history;
        FloatingPanel& panel;
        Inserter::Services inserting;
        Log log;
    };

    /// A recognition that failed, for the menu and the settings page.
    struct Failure {
        STTError error;
        std::string sentence;
        Calendar::UnixTime at;
    };

    static constexpr std::chrono::milliseconds minRecordingDuration{400};

    explicit RecordingSession(Services services);
    ~RecordingSession();
    RecordingSession(const RecordingSession&) = delete;
    RecordingSession& operator=(const RecordingSession&) = delete;

    /// Begins a dictation; refused, with a notice, while another is under way.
    void start(HotkeyMode mode);
    /// Ends the recording and runs the pipeline. Nothing unless recording.
    void stop();
    /// Starts when idle, stops when recording.
    void toggle(HotkeyMode mode);
    /// Discards the dictation, whether it is being recorded or refined. Too late once its text is
    /// on its way into the application.
    void cancel();
    /// Changes what the running recording is meant for.
    void changeIntent(HotkeyMode mode);
    /// Types the last result again.
    void pasteLast();
    /// Recognises an archived recording and types it into the application in front.
    void sendAgain(std::string recordingID);

    [[nodiscard]] RecognitionState state() const { return state_; }
    [[nodiscard]] bool recordingFlag() const { return state_ == RecognitionState::recording; }
    [[nodiscard]] bool refiningFlag() const { return state_ == RecognitionState::refining; }
    [[nodiscard]] int injectingFlag() const { return inserter_.injectingCount(); }
    [[nodiscard]] const std::optional<std::string>& lastOutput() const { return lastOutput_; }
    [[nodiscard]] const std::optional<LastPaste>& lastPaste() const { return lastPaste_; }
    [[nodiscard]] const std::optional<Failure>& lastSTTError() const { return lastSTTError_; }
    [[nodiscard]] const Utterance& utterance() const { return utterance_; }
    /// Esc would cancel now.
    [[nodiscard]] bool escapeCancels() const;

    /// Gives back what was borrowed (clipboard, loudspeakers). A running dictation is kept as a
    /// recording.
    [[nodiscard]] asio::awaitable<void> shutDown();

private:
    /// Where a text has come to.
    struct Placed {
        Inserter::Outcome outcome = Inserter::Outcome::lost;
        std::string_view notice;  ///< what is to be said of it; may be empty
    };

    void setState(RecognitionState state);
    void notice(std::string_view text);
    asio::awaitable<void> checkContext();
    asio::awaitable<void> muteUnlessShared();
    void setIntent(VoiceIntent intent);
    void refuse(std::string_view reason);
    void captureBroke(AudioInputSink::Ending why);
    void partialArrived(std::string text);

    asio::awaitable<void> run(std::shared_ptr<SpeechSession> recognition);
    asio::awaitable<void> runArchived(std::string recordingID);
    asio::awaitable<void> deliver(SpeechSession::Recognition recognition);
    [[nodiscard]] TextPipeline::Heard heard(std::string raw) const;
    void sayHowItWent(const std::string& recognitionNotice, TextPipeline::Written::Way way,
                      const Placed& placed);
    asio::awaitable<Placed> place(const TextPipeline::Written& written);
    void writeDown(std::string raw);
    asio::awaitable<void> recognitionFailed(const SpeechSession& recognition, STTError error);
    asio::awaitable<void> keepUnfinished();
    void wentWrong(std::string_view what);
    asio::awaitable<void> typeAgain(std::string text);
    void tooShort(const StoppedRecording& stopped);
    void report(std::string sentence, STTError error);
    [[nodiscard]] std::shared_ptr<SpeechSession> beginRecognition(SpeechSession::Source source);
    [[nodiscard]] bool delivering() const { return utterance_.commitAt.has_value(); }
    void rememberFront(const std::optional<FrontApp>& front);
    void finish();

    Services services_;
    DictationEngine dictationEngine_;
    AudioLevelProvider audioLevelProvider_;
    Inserter inserter_;
    TextPipeline pipeline_;
    RecentDictations recent_;
    RecognitionState state_ = RecognitionState::idle;
    std::optional<Scheduler::TimePoint> recordingStartedAt_;
    Utterance utterance_;
    std::optional<std::string> lastOutput_;
    std::optional<LastPaste> lastPaste_;
    std::optional<Failure> lastSTTError_;
    std::shared_ptr<SpeechSession> recognition_;      // shared with the audio thread's listener
    std::unique_ptr<RecordingArchive::Spool> spool_;  // of the recording that is being refined
    bool captureBroken_ = false;
    Event idle_;
    TaskHandle engineStart_;
    TaskHandle activeTask_;
    TaskScope tasks_;  // behind what its tasks use, so that they end before it
    SelectionCapture selection_;
    HistoryWriter history_;
};

}  // namespace quillet
