#include "app/RecordingSession.h"

#include <fmt/format.h>

#include "app/Messages.h"
#include "base/async/Checkpoint.h"

namespace quillet {

namespace {

constexpr double shortestSent =
    std::chrono::duration<double>(RecordingSession::minRecordingDuration).count();

/// How often the focused field is looked at before it counts as none that can be known.
constexpr int mostLooks = 3;
constexpr std::chrono::milliseconds betweenLooks{250};

STTError errorFor(AudioInputSink::Ending why) {
    return STTError::of(why == AudioInputSink::Ending::noPermission
                            ? STTError::Kind::noPermission
                            : STTError::Kind::noInputDevice);
}

}  // namespace

std::string_view nameOf(RecognitionState state) {
    switch (state) {
        case RecognitionState::idle:
            return "idle";
        case RecognitionState::recording:
            return "recording";
        case RecognitionState::refining:
            return "refining";
    }
    return {};
}

RecordingSession::RecordingSession(Services services)
    : services_(std::move(services)),
      dictationEngine_(services_.audioInput, services_.archive, services_.loop),
      inserter_(services_.inserting,
                [this](int) { services_.notifications.post(stateChangedNotification); }),
      tasks_(services_.loop, [log = services_.log](std::string_view what) {
          log.error("A dictation ended unexpectedly: {}", what);
      }) {
    idle_.set();
    DictationEngine::Callbacks callbacks;
    callbacks.onAudioLevel = [this](float level) {
        audioLevelProvider_.update(level);
        services_.panel.setLevel(audioLevelProvider_.smoothedLevel());
    };
    callbacks.onEnded = [this](AudioInputSink::Ending why) { captureBroke(why); };
    dictationEngine_.setCallbacks(std::move(callbacks));
}

RecordingSession::~RecordingSession() {
    tasks_.cancelAndJoin();
}

void RecordingSession::setState(RecognitionState state) {
    if (state == state_)
        return;
    state_ = state;
    if (state == RecognitionState::idle)
        idle_.set();
    else
        idle_.reset();
    services_.notifications.post(stateChangedNotification);
}

void RecordingSession::notice(std::string_view text) {
    if (!text.empty())
        services_.panel.showNotice(std::string(text));
}

bool RecordingSession::escapeCancels() const {
    return state_ == RecognitionState::recording && inserter_.injectingCount() == 0;
}

// --- Start ---------------------------------------------------------------------------------------

void RecordingSession::toggle(HotkeyMode mode) {
    switch (state_) {
        case RecognitionState::idle:
            start(mode);
            return;
        case RecognitionState::recording:
            stop();
            return;
        case RecognitionState::refining:
            notice(messages::stillWorking);
            return;
    }
}

void RecordingSession::start(HotkeyMode mode) {
    if (state_ != RecognitionState::idle) {
        notice(messages::stillWorking);
        return;
    }
    if (mode != HotkeyMode::dictate) {
        notice(messages::notInThisVersion(mode));
        return;
    }
    // The microphone opens first: everything else costs the user a first word.
    const auto& record = services_.settings.record();
    dictationEngine_.start(services_.ids.uuid(), record.languageCode().value_or("mixed"));

    const auto front = services_.inserting.frontApplication.current();
    if (front && !services_.settings.isAllowed(front->bundleID)) {
        dictationEngine_.abort();
        notice(messages::excludedApplication);
        return;
    }
    captureBroken_ = false;
    rememberFront(front);
    recordingStartedAt_ = services_.scheduler.now();
    audioLevelProvider_.reset();
    setState(RecognitionState::recording);
    services_.log.info("START {} (engine: {})", nameOf(mode), storedName(record.sttEngineType));
    services_.panel.showRecording("", front ? std::optional(front->window) : std::nullopt);

    recognition_ = beginRecognition();
    dictationEngine_.setListener(
        [recognition = recognition_](std::span<const std::int16_t> samples) {
            recognition->feed(samples);
        });
    engineStart_ = tasks_.spawn(checkContext());
}

void RecordingSession::rememberFront(const std::optional<FrontApp>& front) {
    utterance_ = Utterance{};
    if (!front)
        return;
    utterance_.bundleID = front->bundleID;
    utterance_.appName = front->displayName;
    utterance_.windowTitle = front->windowTitle;
}

std::shared_ptr<SpeechSession> RecordingSession::beginRecognition() {
    SpeechSession::Services services{services_.onDevice, services_.speechClient, services_.settings,
                                     tasks_, services_.log};
    return std::make_shared<SpeechSession>(
        std::move(services), [this](std::string text) { partialArrived(std::move(text)); });
}

asio::awaitable<void> RecordingSession::checkContext() {
    const auto front = services_.inserting.frontApplication.current();
    // An application that is busy may tell a moment later; the recording goes on meanwhile.
    for (int look = 0; front && look < mostLooks; ++look) {
        const auto security = co_await services_.inserting.focusedField.security(front->pid);
        if (security == FocusedField::Security::secure) {
            refuse(messages::passwordField);
            co_return;
        }
        if (look == 0)
            co_await muteUnlessShared();
        if (security == FocusedField::Security::plain)
            co_return;
        co_await services_.scheduler.sleep(betweenLooks);
    }
    if (!front)
        co_await muteUnlessShared();
}

asio::awaitable<void> RecordingSession::muteUnlessShared() {
    if (!services_.settings.record().muteSystemAudioWhileRecording)
        co_return;
    const auto users = co_await services_.audioInput.otherUsers();
    if (!users.empty())
        services_.log.info("{} is using the microphone — system audio left on", users.front());
    else if (state_ == RecognitionState::recording)
        services_.muter.mute();
}

void RecordingSession::refuse(std::string_view reason) {
    if (state_ != RecognitionState::recording)
        return;
    dictationEngine_.abort();
    recognition_.reset();
    finish();
    notice(reason);
}

void RecordingSession::partialArrived(std::string text) {
    if (state_ != RecognitionState::recording)
        return;
    services_.panel.setPartialText(text);
    utterance_.partialTranscript = std::move(text);
}

void RecordingSession::captureBroke(AudioInputSink::Ending why) {
    if (state_ != RecognitionState::recording)
        return;
    captureBroken_ = true;
    services_.log.error("Failed to start: {}", errorFor(why).longText());
    lastSTTError_ = {errorFor(why), errorFor(why).shortText(), services_.calendar.now()};
    services_.notifications.post(sttErrorNotification);
    // What was said until now is worth as much as before.
    stop();
}

void RecordingSession::changeIntent(HotkeyMode mode) {
    if (state_ != RecognitionState::recording)
        return;
    if (mode != HotkeyMode::dictate) {
        notice(messages::notInThisVersion(mode));
        return;
    }
    utterance_.intent = VoiceIntent::dictate;
    services_.log.info("Intent → {}", nameOf(utterance_.intent));
}

// --- Stop ----------------------------------------------------------------------------------------

void RecordingSession::stop() {
    if (state_ != RecognitionState::recording)
        return;
    services_.log.info("STOP");
    setState(RecognitionState::refining);
    services_.panel.showWorking("");
    activeTask_ = tasks_.spawn(run(std::exchange(recognition_, nullptr)));
}

void RecordingSession::cancel() {
    if (state_ == RecognitionState::idle || delivering())
        return;
    services_.log.info("CANCEL");
    activeTask_.cancel();
    dictationEngine_.abort();
    recognition_.reset();
    spool_.reset();
    finish();
    notice(messages::cancelled);
}

/// Back to idle, whatever the way here.
void RecordingSession::finish() {
    engineStart_.cancel();
    services_.muter.restore();
    recordingStartedAt_.reset();
    services_.panel.hide();
    setState(RecognitionState::idle);
}

asio::awaitable<void> RecordingSession::run(std::shared_ptr<SpeechSession> recognition) {
    auto stopped = co_await dictationEngine_.stop();
    co_await checkpoint();
    engineStart_.cancel();
    services_.muter.restore();
    spool_ = std::move(stopped.spool);

    if (stopped.seconds() < shortestSent) {
        tooShort(stopped);
        co_return;
    }
    if (!stopped.hasVoice) {
        services_.log.info("No speech in the recording — not sent");
        finish();
        notice(messages::didNotCatch);
        co_return;
    }
    auto transcript = co_await recognition->finish(stopped.pcm);
    co_await checkpoint();
    if (!transcript) {
        co_await recognitionFailed(recognition->engineName(), std::move(transcript.error()));
        co_return;
    }
    if (transcript->empty()) {
        // Voice was heard, so the recording may still say something to another engine.
        co_await spool_->keep();
        finish();
        notice(messages::didNotCatch);
        co_return;
    }
    co_await deliver(std::move(*transcript));
}

void RecordingSession::tooShort(const StoppedRecording& stopped) {
    services_.log.info("Recording too short ({} bytes)",
                       stopped.pcm->size() * sizeof(std::int16_t));
    const bool nothingHeard =
        stopped.pcm->empty() &&
        services_.scheduler.now() - *recordingStartedAt_ >= minRecordingDuration;
    finish();
    if (captureBroken_) {
        notice(stopped.pcm->empty() ? messages::recordingFailedToStart : messages::recordingFailed);
    } else if (nothingHeard) {
        const auto error = STTError::of(STTError::Kind::noAudioCaptured);
        report(error.shortText(), error);
    } else {
        notice(messages::didNotCatch);
    }
}

asio::awaitable<void> RecordingSession::recognitionFailed(std::string engine, STTError error) {
    services_.log.error("STT error: {}", error.longText());
    const bool kept = spool_ && co_await spool_->keep();
    co_await checkpoint();
    auto sentence = fmt::format("{} failed: {}", engine, error.shortText());
    if (!utterance_.partialTranscript.empty()) {
        // The device listened too, for the preview: better its words than none.
        lastOutput_ = utterance_.partialTranscript;
        sentence += messages::pastesWhatYouSaid;
    } else if (kept) {
        sentence += messages::savedInMenu;
    }
    finish();
    report(std::move(sentence), std::move(error));
}

void RecordingSession::report(std::string sentence, STTError error) {
    notice(sentence);
    lastSTTError_ = {std::move(error), std::move(sentence), services_.calendar.now()};
    services_.notifications.post(sttErrorNotification);
}

/// Types what was recognised, and writes it down.
asio::awaitable<void> RecordingSession::deliver(std::string raw) {
    std::string text = raw;
    utterance_.processedText = text;
    utterance_.commitAt = services_.scheduler.now();
    // From here on the words can be had again, whatever happens to the paste.
    lastOutput_ = text;
    const auto outcome = co_await inserter_.insert(text, utterance_.bundleID);
    if (outcome == Inserter::Outcome::pasted) {
        utterance_.pastedText = text;
        lastPaste_ = {text, utterance_.bundleID, services_.scheduler.now()};
    } else if (outcome == Inserter::Outcome::appChanged) {
        services_.log.info("Frontmost app changed during refine — copying instead of pasting");
    }
    const bool logged = co_await logEntry(std::move(raw), text);
    services_.log.info("Commit: {}", services_.log.hidden(text));
    spool_.reset();
    finish();
    notice(messages::noticeFor(outcome));
    if (!logged && outcome == Inserter::Outcome::pasted)
        notice(messages::historyNotSaved);
}

/// False when the entry should have been written and could not be.
asio::awaitable<bool> RecordingSession::logEntry(std::string raw, std::string text) {
    const auto& record = services_.settings.record();
    const bool wanted = record.sessionLoggingEnabled &&
                        services_.settings.isAllowed(utterance_.bundleID.value_or(""));
    if (!wanted)
        co_return true;
    SessionStore::NewEntry entry;
    entry.timestamp = services_.calendar.now();
    entry.rawText = std::move(raw);
    entry.finalText = std::move(text);
    utterance_.entryID =
        co_await services_.history.log(std::move(entry), utterance_.bundleID, utterance_.appName);
    if (!utterance_.entryID)
        co_return false;
    services_.notifications.post(entryLoggedNotification);
    co_return true;
}

// --- Again ---------------------------------------------------------------------------------------

void RecordingSession::pasteLast() {
    if (!lastOutput_) {
        notice(messages::nothingToPaste);
        return;
    }
    if (inserter_.injectingCount() > 0)
        return;
    const auto front = services_.inserting.frontApplication.current();
    if (front && !services_.settings.isAllowed(front->bundleID)) {
        notice(messages::excludedApplication);
        return;
    }
    tasks_.spawn(typeLastOutput());
}

asio::awaitable<void> RecordingSession::typeLastOutput() {
    const auto outcome = co_await inserter_.insert(*lastOutput_, std::nullopt);
    notice(messages::noticeFor(outcome));
}

void RecordingSession::sendAgain(std::string recordingID) {
    if (state_ != RecognitionState::idle) {
        notice(messages::stillWorking);
        return;
    }
    const auto front = services_.inserting.frontApplication.current();
    if (front && !services_.settings.isAllowed(front->bundleID)) {
        notice(messages::excludedApplication);
        return;
    }
    rememberFront(front);
    setState(RecognitionState::refining);
    services_.panel.showWorking("");
    activeTask_ = tasks_.spawn(runArchived(std::move(recordingID)));
}

asio::awaitable<void> RecordingSession::runArchived(std::string recordingID) {
    auto samples = co_await services_.archive.load(recordingID);
    co_await checkpoint();
    if (!samples) {
        finish();
        notice("The recording can't be sent: " + samples.error());
        co_return;
    }
    const auto pcm = std::make_shared<const PcmSamples>(std::move(*samples));
    const auto recognition = beginRecognition();
    recognition->feed(*pcm);
    auto transcript = co_await recognition->finish(pcm);
    co_await checkpoint();
    if (!transcript) {
        co_await recognitionFailed(recognition->engineName(), std::move(transcript.error()));
        co_return;
    }
    if (transcript->empty()) {
        finish();
        notice(messages::didNotCatch);
        co_return;
    }
    services_.archive.setText(recordingID, *transcript);
    co_await deliver(std::move(*transcript));
}

// --- End -----------------------------------------------------------------------------------------

asio::awaitable<void> RecordingSession::shutDown() {
    if (state_ == RecognitionState::recording) {
        auto stopped = co_await dictationEngine_.stop();
        if (stopped.seconds() >= shortestSent && stopped.hasVoice)
            co_await stopped.spool->keep();
        recognition_.reset();
        finish();
    } else if (state_ == RecognitionState::refining && delivering()) {
        co_await idle_.wait();
    } else if (state_ == RecognitionState::refining) {
        activeTask_.cancel();
        if (spool_)
            co_await spool_->keep();
        finish();
    }
    co_await inserter_.restoreNow();
    services_.muter.restore();
    co_await services_.muter.settled();
}

}  // namespace quillet
