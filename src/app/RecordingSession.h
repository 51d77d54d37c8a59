#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>

#include "app/AgentSink.h"
#include "app/AgentTyping.h"
#include "app/ContextCapture.h"
#include "app/Delivery.h"
#include "app/FloatingPanel.h"
#include "app/HotkeyMode.h"
#include "app/LiveWriter.h"
#include "app/SelectionCapture.h"
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
        AppProfileStore& profiles;
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
        /// Names and terms that the user is known to say; none where nobody remembers.
        std::function<std::vector<std::string>()> terms = nullptr;
    };

    /// A recognition that failed, for the menu and the settings page.
    struct Failure {
        STTError error;
        std::string sentence;
        Calendar::UnixTime at;
    };

    static constexpr std::chrono::milliseconds minRecordingDuration{400};
    /// For so long after it, the last paste may be amended.
    static constexpr std::chrono::seconds amendWindow{600};
    /// How long an AI client may have the user dictate.
    static constexpr std::chrono::seconds longestAgentDictation{600};

    explicit RecordingSession(Services services);
    ~RecordingSession();
    RecordingSession(const RecordingSession&) = delete;
    RecordingSession& operator=(const RecordingSession&) = delete;

    /// Begins a dictation. Why that is refused, which the panel says too; empty when it is not.
    std::string_view start(HotkeyMode mode);
    /// Ends the recording and runs the pipeline. Nothing unless recording.
    void stop();
    /// Starts when idle, stops when recording.
    void toggle(HotkeyMode mode);
    /// Discards the dictation, whether it is being recorded or refined. Too late once its text is
    /// on its way into the application; then it stops the message from being sent by itself. False
    /// when there was nothing to be cancelled any more.
    bool cancel();
    /// Changes what the running recording is meant for.
    void changeIntent(HotkeyMode mode);
    /// Types the last result again. Why that is refused, or empty, as with the next one.
    std::string_view pasteLast();
    /// Lets go of what the user deleted: it cannot be pasted again.
    void forget(const DeletedDictations& deleted);
    /// Recognises an archived recording and types it into the application in front.
    std::string_view sendAgain(std::string recordingID);
    /// A key that the user pressed: it may cancel, send or edit what was dictated.
    void keyDown(KeyChord chord);

    using AgentResult = std::expected<std::string, std::string>;
    /// Has the user dictate for an AI client: the text is returned instead of typed. The user ends
    /// it with the chord, or it ends after `maxSeconds`, 1 to 600. The error is a sentence for the
    /// client.
    [[nodiscard]] asio::awaitable<AgentResult> dictateForAgent(std::chrono::seconds maxSeconds);
    /// Types a text for an AI client into the application in front. The error is a sentence for the
    /// client.
    [[nodiscard]] asio::awaitable<AgentTyping::Result> typeText(std::string text);

    [[nodiscard]] RecognitionState state() const { return state_; }
    [[nodiscard]] bool recordingFlag() const { return state_ == RecognitionState::recording; }
    [[nodiscard]] bool refiningFlag() const { return state_ == RecognitionState::refining; }
    [[nodiscard]] int injectingFlag() const { return delivery_.inserter().injectingCount(); }
    [[nodiscard]] const std::optional<std::string>& lastOutput() const {
        return delivery_.lastOutput();
    }
    [[nodiscard]] const std::optional<LastPaste>& lastPaste() const {
        return delivery_.lastPaste();
    }
    [[nodiscard]] const std::optional<Failure>& lastSTTError() const { return lastSTTError_; }
    [[nodiscard]] const Utterance& utterance() const { return utterance_; }
    [[nodiscard]] const LiveState& live() const { return live_.state(); }
    /// Esc, or Command+Period while a message is about to be sent, would cancel something now.
    [[nodiscard]] bool escapeCancels() const;
    [[nodiscard]] bool sendPending() const { return delivery_.sendPending(); }
    /// Whether it matters that the user types.
    [[nodiscard]] bool wantsTyping() const { return delivery_.wantsTyping(); }

    /// Gives back what was borrowed (clipboard, loudspeakers). A running dictation is kept as a
    /// recording.
    [[nodiscard]] asio::awaitable<void> shutDown();

private:
    void setState(RecognitionState state);
    void notice(std::string_view text);
    std::string_view refused(std::string_view reason);
    [[nodiscard]] std::string_view reasonAgainst(HotkeyMode mode,
                                                 const std::optional<FrontApp>& front) const;
    std::string_view begin(HotkeyMode mode, std::shared_ptr<AgentSink> agent);
    void rememberFront(const std::optional<FrontApp>& front);
    [[nodiscard]] std::shared_ptr<SpeechSession> beginRecognition(SpeechSession::Source source);
    void listen();
    void lookAt(const FrontApp& front);
    asio::awaitable<void> muteUnlessShared();
    void refuse(std::string_view reason);
    void captureBroke(AudioInputSink::Ending why);
    void partialArrived(std::string text);

    void setMode(HotkeyMode mode);
    void setIntent(VoiceIntent intent);
    void setAmend();
    void setLive();
    void prepared();
    [[nodiscard]] bool mayAmend(const std::optional<std::string>& bundleID) const;

    asio::awaitable<void> run(std::shared_ptr<SpeechSession> recognition);
    asio::awaitable<void> runLive(StoppedRecording stopped);
    [[nodiscard]] bool isReviewed() const;
    void keepForReview(std::string heard);
    asio::awaitable<void> runArchived(std::string recordingID);
    asio::awaitable<void> deliver(SpeechSession::Recognition recognition);
    asio::awaitable<void> nothingRecognised();
    asio::awaitable<void> recognitionFailed(const SpeechSession& recognition, STTError error);
    enum class WasCancelled { no, yes };
    void writeDownLive(WasCancelled cancelled);
    void tooShort(const StoppedRecording& stopped);
    void report(std::string sentence, STTError error);
    [[nodiscard]] bool delivering() const { return utterance_.commitAt.has_value(); }
    void finish();

    asio::awaitable<void> typeAgain(Inserter::Request request);
    asio::awaitable<void> stopAfter(std::chrono::seconds time);
    asio::awaitable<void> keepUnfinished();
    void wentWrong(std::string_view what);

    Services services_;
    DictationEngine dictationEngine_;
    AudioLevelProvider audioLevelProvider_;
    RecognitionState state_ = RecognitionState::idle;
    std::optional<Scheduler::TimePoint> recordingStartedAt_;
    Utterance utterance_;
    std::optional<Failure> lastSTTError_;
    std::shared_ptr<SpeechSession> recognition_;      // shared with the audio thread's listener
    std::unique_ptr<RecordingArchive::Spool> spool_;  // of the recording that is being refined
    std::shared_ptr<AgentSink> agentSink_;            // shared with the client that waits for it
    bool liveUnderWay_ = false;                       // live writing that is not written down yet
    Event idle_;
    TaskHandle engineStart_;
    TaskHandle activeTask_;
    TaskHandle agentTimer_;
    TaskScope asides_;  // what goes on beside a dictation, and may fail without it
    TaskScope tasks_;
    SelectionCapture selection_;
    ContextCapture context_;
    Delivery delivery_;
    LiveWriter live_;
    AgentTyping agentTyping_;
};

}  // namespace quillet
