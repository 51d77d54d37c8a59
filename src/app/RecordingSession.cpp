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
      pipeline_({services_.settings, services_.vocabDB, services_.llmRefiner, services_.log}),
      tasks_(services_.loop, [this](std::string_view what) { wentWrong(what); }),
      selection_({services_.inserting.frontApplication, services_.inserting.focusedField,
                  services_.scheduler, tasks_}),
      history_({services_.calendar, services_.settings, services_.history, tasks_}) {
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
    // Whoever ends us without a word finds the recording at the next start.
    if (spool_)
        spool_->abandon();
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
    const auto intent = intentOf(mode);
    if (!intent) {
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
    if (*intent != VoiceIntent::dictate)
        setIntent(*intent);
    else
        tasks_.spawn(pipeline_.prepare(*intent));

    recognition_ = beginRecognition(SpeechSession::Source::microphone);
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
    if (services_.settings.record().useScreenTerms)
        utterance_.windowTitle = front->windowTitle;
}

std::shared_ptr<SpeechSession> RecordingSession::beginRecognition(SpeechSession::Source source) {
    SpeechSession::Services services{
        services_.onDevice, services_.speechClient, services_.settings, services_.scheduler, tasks_,
        services_.log};
    return std::make_shared<SpeechSession>(
        std::move(services), source, [this](std::string text) { partialArrived(std::move(text)); });
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
    if (dictationEngine_.hasSamples())
        services_.log.error("The recording broke off: {}", errorFor(why).longText());
    else
        services_.log.error("Failed to start: {}", errorFor(why).longText());
    lastSTTError_ = {errorFor(why), errorFor(why).shortText(), services_.calendar.now()};
    services_.notifications.post(sttErrorNotification);
    // What was said until now is worth as much as before.
    stop();
}

void RecordingSession::changeIntent(HotkeyMode mode) {
    if (state_ != RecognitionState::recording)
        return;
    const auto intent = intentOf(mode);
    if (!intent)
        notice(messages::notInThisVersion(mode));
    else if (*intent != utterance_.intent)
        setIntent(*intent);
}

void RecordingSession::setIntent(VoiceIntent intent) {
    utterance_.intent = intent;
    services_.log.info("Intent → {}", nameOf(intent));
    services_.panel.setBanner(
        messages::bannerFor(intent, services_.settings.record().translationTarget));
    tasks_.spawn(pipeline_.prepare(intent));
    if (intent == VoiceIntent::command)
        selection_.begin(utterance_.bundleID);
}

// --- Stop ----------------------------------------------------------------------------------------

void RecordingSession::stop() {
    if (state_ != RecognitionState::recording)
        return;
    services_.log.info("STOP");
    setState(RecognitionState::refining);
    const bool edits = utterance_.intent == VoiceIntent::command &&
                       selection_.soFar().kind == FocusedField::Selection::Kind::text;
    services_.panel.showWorking(edits ? std::string(messages::editingSelection) : "");
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
    selection_.cancel();
    services_.muter.restore();
    recordingStartedAt_.reset();
    spool_.reset();
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
        notice(captureBroken_ ? messages::recordingFailed : messages::didNotCatch);
        co_return;
    }
    auto recognised = co_await recognition->finish(stopped.pcm);
    co_await checkpoint();
    if (!recognised) {
        co_await recognitionFailed(*recognition, std::move(recognised.error()));
        co_return;
    }
    if (recognised->text.empty()) {
        // Voice was heard, so the recording may still say something to another engine.
        co_await spool_->keep();
        co_await checkpoint();
        finish();
        notice(messages::didNotCatch);
        co_return;
    }
    co_await deliver(std::move(*recognised));
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

asio::awaitable<void> RecordingSession::recognitionFailed(const SpeechSession& recognition,
                                                          STTError error) {
    services_.log.error("STT error: {}", error.longText());
    const bool kept = utterance_.recordingID || (spool_ && co_await spool_->keep());
    co_await checkpoint();
    auto sentence = fmt::format("{} failed: {}", recognition.engineName(), error.shortText());
    if (!utterance_.partialTranscript.empty()) {
        // The device listened too, for the preview: better its words than none.
        lastOutput_ = utterance_.partialTranscript;
        sentence += messages::pastesWhatYouSaid;
    } else if (kept) {
        sentence += messages::savedInMenu;
    }
    if (const auto problem = recognition.keyProblem(); !problem.empty())
        sentence += fmt::format(" ({})", problem);
    finish();
    report(std::move(sentence), std::move(error));
}

void RecordingSession::report(std::string sentence, STTError error) {
    notice(sentence);
    lastSTTError_ = {std::move(error), std::move(sentence), services_.calendar.now()};
    services_.notifications.post(sttErrorNotification);
}

TextPipeline::Heard RecordingSession::heard(std::string raw) const {
    TextPipeline::Heard heard;
    heard.raw = std::move(raw);
    heard.intent = utterance_.intent;
    if (utterance_.intent == VoiceIntent::command &&
        utterance_.selection.kind == FocusedField::Selection::Kind::text)
        heard.selection = utterance_.selection.text;
    heard.situation.app = utterance_.appName.value_or("");
    heard.situation.window = utterance_.windowTitle;
    heard.situation.recent = recent_.before(utterance_.bundleID, services_.scheduler.now());
    heard.beforeCursor = utterance_.context;
    return heard;
}

/// Types the text, unless that would replace a selection that it is not meant for.
asio::awaitable<RecordingSession::Placed> RecordingSession::place(
    const TextPipeline::Written& written) {
    using Kind = FocusedField::Selection::Kind;
    Placed placed;
    if (utterance_.intent == VoiceIntent::command) {
        const auto kind = utterance_.selection.kind;
        // An instruction typed over the text that it was meant for would destroy that.
        if (written.way == TextPipeline::Written::Way::offline && kind != Kind::nothing)
            placed.notice = messages::selectionKept;
        else if (kind == Kind::text && !co_await selection_.stands())
            placed.notice = messages::selectionChanged;
    }
    if (!placed.notice.empty()) {
        placed.outcome = co_await inserter_.copy(written.text);
        co_return placed;
    }
    placed.outcome = co_await inserter_.insert(written.text, utterance_.bundleID);
    placed.notice = messages::noticeFor(placed.outcome);
    co_return placed;
}

/// Writes what was recognised as it should be written, types it, and keeps it in the history.
asio::awaitable<void> RecordingSession::deliver(SpeechSession::Recognition recognition) {
    if (utterance_.intent == VoiceIntent::command)
        utterance_.selection = co_await selection_.finished();
    co_await checkpoint();
    if (utterance_.intent == VoiceIntent::command &&
        utterance_.selection.kind == FocusedField::Selection::Kind::tooLong) {
        lastOutput_ = std::move(recognition.text);
        finish();
        notice(messages::selectionTooLong);
        co_return;
    }
    auto written = co_await pipeline_.write(heard(recognition.text));
    co_await checkpoint();
    utterance_.processedText = written.text;
    utterance_.commitAt = services_.scheduler.now();
    // From here on the words can be had again, whatever happens to the paste.
    lastOutput_ = written.text;
    const auto placed = co_await place(written);
    if (placed.outcome == Inserter::Outcome::pasted) {
        utterance_.pastedText = written.text;
        lastPaste_ = {written.text, utterance_.bundleID, services_.scheduler.now()};
        if (written.way == TextPipeline::Written::Way::model)
            recent_.add(utterance_.bundleID, written.text, services_.scheduler.now());
    } else if (placed.outcome == Inserter::Outcome::appChanged) {
        services_.log.info("Frontmost app changed during refine — copying instead of pasting");
    }
    // The next dictation does not wait for the history of this one.
    writeDown(std::move(recognition.text));
    services_.log.info("Commit: {}", services_.log.hidden(written.text));
    lastSTTError_.reset();
    finish();
    sayHowItWent(recognition.notice, written.way, placed);
}

/// One sentence: what the user has to do something about comes before what is merely worth knowing.
void RecordingSession::sayHowItWent(const std::string& recognitionNotice,
                                    TextPipeline::Written::Way way, const Placed& placed) {
    if (!placed.notice.empty())
        notice(placed.notice);
    else if (captureBroken_)
        notice(messages::typedWhatWasHeard);
    else if (way == TextPipeline::Written::Way::offline)
        notice(messages::sentAsHeard);
    else
        notice(recognitionNotice);
}

void RecordingSession::writeDown(std::string raw) {
    const auto& done = utterance_;
    history_.write(std::move(raw), *done.processedText, done.bundleID, done.appName,
                   [this, commitAt = done.commitAt](std::optional<std::string> id) {
                       if (!id)
                           notice(messages::historyNotSaved);
                       else if (utterance_.commitAt == commitAt)
                           utterance_.entryID = std::move(id);
                   });
}

// --- Again ---------------------------------------------------------------------------------------

void RecordingSession::pasteLast() {
    if (!lastOutput_) {
        notice(messages::nothingToPaste);
        return;
    }
    const auto front = services_.inserting.frontApplication.current();
    if (front && !services_.settings.isAllowed(front->bundleID)) {
        notice(messages::excludedApplication);
        return;
    }
    tasks_.spawn(typeAgain(*lastOutput_));
}

asio::awaitable<void> RecordingSession::typeAgain(std::string text) {
    const auto outcome = co_await inserter_.insert(std::move(text), std::nullopt);
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
    utterance_.recordingID = recordingID;
    captureBroken_ = false;
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
    const auto recognition = beginRecognition(SpeechSession::Source::recording);
    auto recognised = co_await recognition->finish(pcm);
    co_await checkpoint();
    if (!recognised) {
        co_await recognitionFailed(*recognition, std::move(recognised.error()));
        co_return;
    }
    if (recognised->text.empty()) {
        finish();
        notice(messages::didNotCatch);
        co_return;
    }
    services_.archive.setText(recordingID, recognised->text);
    co_await deliver(std::move(*recognised));
}

// --- End -----------------------------------------------------------------------------------------

asio::awaitable<void> RecordingSession::shutDown() {
    if (delivering() && state_ == RecognitionState::refining)
        co_await idle_.wait();
    if (state_ != RecognitionState::idle) {
        activeTask_.cancel();
        co_await keepUnfinished();
        recognition_.reset();
        finish();
    }
    co_await history_.settled();
    co_await inserter_.restoreNow();
    services_.muter.restore();
    co_await services_.muter.settled();
}

/// Archives what was recorded and is not typed yet.
asio::awaitable<void> RecordingSession::keepUnfinished() {
    auto spool = std::move(spool_);
    if (dictationEngine_.isRecording()) {
        auto stopped = co_await dictationEngine_.stop();
        if (stopped.seconds() >= shortestSent && stopped.hasVoice)
            spool = std::move(stopped.spool);
    }
    if (spool)
        co_await spool->keep();
}

/// A bug let an exception out: nobody else would bring the state back.
void RecordingSession::wentWrong(std::string_view what) {
    services_.log.error("A dictation ended unexpectedly: {}", what);
    if (spool_)
        spool_->abandon();
    recognition_.reset();
    if (dictationEngine_.isRecording())
        tasks_.spawn(keepUnfinished());
    finish();
    notice(messages::wentWrong);
}

}  // namespace quillet
