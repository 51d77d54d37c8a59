#include "app/RecordingSession.h"

#include <fmt/format.h>

#include "app/Messages.h"
#include "base/async/Checkpoint.h"
#include "speech/SpeechServer.h"

namespace quillet {

namespace {

constexpr double shortestSent =
    std::chrono::duration<double>(RecordingSession::minRecordingDuration).count();

/// Remembers that the user was told once of other people's consent.
constexpr std::string_view liveNoticeFlag = "recordingNotice.liveShown";

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
      asides_(services_.loop,
              [this](std::string_view what) {
                  services_.log.error("Something beside the dictation went wrong: {}", what);
              }),
      tasks_(services_.loop, [this](std::string_view what) { wentWrong(what); }),
      selection_({services_.inserting.frontApplication, services_.inserting.focusedField,
                  services_.scheduler, asides_}),
      context_({services_.inserting.focusedField, services_.settings, services_.scheduler, asides_,
                services_.log}),
      delivery_({services_.scheduler, services_.calendar, services_.ids, services_.settings,
                 services_.profiles, services_.llmRefiner, services_.vocabDB, services_.history,
                 services_.panel, services_.inserting, selection_, asides_, services_.log,
                 [this] { services_.notifications.post(stateChangedNotification); }}),
      live_({dictationEngine_, delivery_, services_.inserting.frontApplication, services_.ids,
             services_.scheduler, tasks_, services_.settings, services_.log,
             [this](std::string_view text) { notice(text); },
             [this] { return beginRecognition(SpeechSession::Source::recording); },
             [this] { context_.lookAtCaret(); }}),
      agentTyping_({services_.inserting.frontApplication, services_.inserting.focusedField,
                    services_.settings, delivery_,
                    [this] { return state_ == RecognitionState::idle; }}) {
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
    if (agentSink_)
        agentSink_->onAbandoned = nullptr;
    tasks_.cancelAndJoin();
    asides_.cancelAndJoin();
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

/// Tells the user why something is not done, and the caller too.
std::string_view RecordingSession::refused(std::string_view reason) {
    notice(reason);
    return reason;
}

bool RecordingSession::escapeCancels() const {
    return delivery_.sendPending() ||
           (state_ == RecognitionState::recording && delivery_.inserter().injectingCount() == 0);
}

void RecordingSession::keyDown(KeyChord chord) {
    const bool cancels = chord.key == Key::escape && escapeCancels();
    if (cancels)
        cancel();
    else
        delivery_.keyDown(chord);
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

std::string_view RecordingSession::start(HotkeyMode mode) {
    if (state_ != RecognitionState::idle)
        return refused(messages::stillWorking);
    return begin(mode, nullptr);
}

std::string_view RecordingSession::begin(HotkeyMode mode, std::shared_ptr<AgentSink> agent) {
    // The microphone opens first: everything else costs the user a first word.
    const auto& record = services_.settings.record();
    dictationEngine_.start(services_.ids.uuid(), record.languageCode().value_or("mixed"));

    delivery_.beginAnew();
    const auto front = services_.inserting.frontApplication.current();
    if (const auto reason = agent ? std::string_view() : reasonAgainst(mode, front);
        !reason.empty()) {
        dictationEngine_.abort();
        return refused(reason);
    }
    agentSink_ = std::move(agent);
    // What goes to an AI client goes into no application, and says nothing of one.
    rememberFront(agentSink_ ? std::nullopt : front);
    recordingStartedAt_ = services_.scheduler.now();
    audioLevelProvider_.reset();
    setState(RecognitionState::recording);
    services_.log.info("START {} (engine: {})", nameOf(mode), storedName(record.sttEngineType));
    services_.panel.showRecording("", front ? std::optional(front->window) : std::nullopt);
    listen();
    if (mode == HotkeyMode::dictate)
        prepared();
    else
        setMode(mode);
    if (front && !agentSink_)
        lookAt(*front);
    engineStart_ = tasks_.spawn(muteUnlessShared());
    return {};
}

/// Why a dictation may not begin here; empty when it may.
std::string_view RecordingSession::reasonAgainst(HotkeyMode mode,
                                                 const std::optional<FrontApp>& front) const {
    if (front && !services_.settings.isAllowed(front->bundleID))
        return messages::excludedApplication;
    if (mode == HotkeyMode::amend &&
        !mayAmend(front ? std::optional(front->bundleID) : std::nullopt))
        return messages::nothingToAmend;
    return {};
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
        services_.onDevice,
        services_.speechClient,
        services_.settings,
        services_.scheduler,
        tasks_,
        services_.log,
        services_.terms ? services_.terms() : std::vector<std::string>()};
    return std::make_shared<SpeechSession>(
        std::move(services), source, [this](std::string text) { partialArrived(std::move(text)); });
}

void RecordingSession::listen() {
    recognition_ = beginRecognition(SpeechSession::Source::microphone);
    dictationEngine_.setListener(
        [recognition = recognition_](std::span<const std::int16_t> samples) {
            recognition->feed(samples);
        });
}

void RecordingSession::lookAt(const FrontApp& front) {
    ContextCapture::Callbacks callbacks;
    callbacks.passwordSeen = [this] { refuse(messages::passwordField); };
    callbacks.seen = [this](ContextCapture::Context seen) {
        utterance_.context = std::move(seen.beforeCursor);
        utterance_.screenText = std::move(seen.screenText);
        utterance_.screenTerms = std::move(seen.screenTerms);
    };
    callbacks.caretSeen = [this](DesktopRect caret) { services_.panel.avoid(caret); };
    context_.begin(front, std::move(callbacks));
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
    live_.discard();
    writeDownLive(WasCancelled::yes);
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
    utterance_.brokenOff = true;
    if (dictationEngine_.hasSamples())
        services_.log.error("The recording broke off: {}", errorFor(why).longText());
    else
        services_.log.error("Failed to start: {}", errorFor(why).longText());
    lastSTTError_ = {errorFor(why), errorFor(why).shortText(), services_.calendar.now()};
    services_.notifications.post(sttErrorNotification);
    // What was said until now is worth as much as before.
    stop();
}

// --- What it is meant for ------------------------------------------------------------------------

void RecordingSession::changeIntent(HotkeyMode mode) {
    // Once a dictation is live, or an AI client's, it stays so.
    if (state_ != RecognitionState::recording || utterance_.live || agentSink_)
        return;
    if (mode == HotkeyMode::amend && !mayAmend(utterance_.bundleID))
        refuse(messages::nothingToAmend);
    else
        setMode(mode);
}

void RecordingSession::setMode(HotkeyMode mode) {
    switch (mode) {
        case HotkeyMode::dictate:
            setIntent(VoiceIntent::dictate);
            return;
        case HotkeyMode::command:
            setIntent(VoiceIntent::command);
            return;
        case HotkeyMode::translate:
            setIntent(VoiceIntent::translate);
            return;
        case HotkeyMode::live:
            setLive();
            return;
        case HotkeyMode::amend:
            setAmend();
            return;
    }
}

void RecordingSession::setIntent(VoiceIntent intent) {
    utterance_.amend = false;
    utterance_.liveUnavailable = false;
    utterance_.intent = intent;
    services_.log.info("Intent → {}", nameOf(intent));
    if (intent == VoiceIntent::command)
        selection_.begin(utterance_.bundleID);
    prepared();
}

bool RecordingSession::mayAmend(const std::optional<std::string>& bundleID) const {
    const auto& paste = delivery_.lastPaste();
    return paste && paste->bundleID == bundleID &&
           services_.scheduler.now() - paste->at < amendWindow;
}

void RecordingSession::setAmend() {
    if (utterance_.amend)
        return;
    services_.log.info("Intent → amend");
    selection_.cancel();
    utterance_.amend = true;
    utterance_.liveUnavailable = false;
    utterance_.intent = VoiceIntent::command;
    utterance_.amended = *delivery_.lastPaste();
    prepared();
}

void RecordingSession::setLive() {
    selection_.cancel();
    utterance_.amend = false;
    utterance_.intent = VoiceIntent::dictate;
    // Only what is recorded here can be cut.
    utterance_.live = services_.settings.record().sttEngineType == STTEngineType::cloud;
    utterance_.liveUnavailable = !utterance_.live;
    if (utterance_.live) {
        utterance_.liveNotice = services_.settings.isFirstTime(liveNoticeFlag);
        delivery_.forgetLastPaste();
        // Each segment has a recognition of its own.
        dictationEngine_.setListener({});
        recognition_.reset();
        live_.begin(utterance_);
        liveUnderWay_ = true;
    }
    prepared();
}

void RecordingSession::prepared() {
    services_.panel.setBanner(messages::bannerFor(utterance_, agentSink_ != nullptr,
                                                  services_.settings.record().translationTarget));
    delivery_.prepare(utterance_.intent);
}

// --- Stop ----------------------------------------------------------------------------------------

void RecordingSession::stop() {
    if (state_ != RecognitionState::recording)
        return;
    services_.log.info("STOP");
    setState(RecognitionState::refining);
    std::string_view working;
    if (utterance_.amend)
        working = messages::changingLast;
    else if (utterance_.intent == VoiceIntent::command &&
             selection_.soFar().kind == FocusedField::Selection::Kind::text)
        working = messages::editingSelection;
    services_.panel.showWorking(std::string(working));
    activeTask_ = tasks_.spawn(run(std::exchange(recognition_, nullptr)));
}

bool RecordingSession::cancel() {
    if (delivery_.sendPending()) {
        delivery_.cancelSend();
        return true;
    }
    if (state_ == RecognitionState::idle || delivering())
        return false;
    services_.log.info("CANCEL");
    activeTask_.cancel();
    dictationEngine_.abort();
    recognition_.reset();
    spool_.reset();
    if (utterance_.live) {
        live_.discard();
        writeDownLive(WasCancelled::yes);
    }
    finish();
    notice(messages::cancelled);
    return true;
}

/// Back to idle, whatever the way here.
void RecordingSession::finish() {
    engineStart_.cancel();
    agentTimer_.cancel();
    selection_.cancel();
    context_.end();
    services_.muter.restore();
    recordingStartedAt_.reset();
    spool_.reset();
    services_.panel.hide();
    if (const auto agent = std::exchange(agentSink_, nullptr)) {
        agent->onAbandoned = nullptr;
        agent->done.set();
    }
    setState(RecognitionState::idle);
}

asio::awaitable<void> RecordingSession::run(std::shared_ptr<SpeechSession> recognition) {
    auto stopped = co_await dictationEngine_.stop();
    co_await checkpoint();
    engineStart_.cancel();
    services_.muter.restore();
    if (utterance_.live) {
        co_await runLive(std::move(stopped));
        co_return;
    }
    spool_ = std::move(stopped.spool);
    if (spool_ && isReviewed())
        utterance_.historyID = spool_->id();

    if (stopped.seconds() < shortestSent) {
        tooShort(stopped);
        co_return;
    }
    if (!stopped.hasVoice) {
        services_.log.info("No speech in the recording — not sent");
        finish();
        notice(utterance_.brokenOff ? messages::recordingFailed : messages::didNotCatch);
        co_return;
    }
    auto recognised = co_await recognition->finish(stopped.pcm);
    co_await checkpoint();
    if (!recognised)
        co_await recognitionFailed(*recognition, std::move(recognised.error()));
    else if (recognised->text.empty())
        co_await nothingRecognised();
    else
        co_await deliver(std::move(*recognised));
}

/// Voice was heard, so the recording may still say something to another engine.
asio::awaitable<void> RecordingSession::nothingRecognised() {
    co_await spool_->keep();
    co_await checkpoint();
    finish();
    notice(messages::didNotCatch);
}

void RecordingSession::tooShort(const StoppedRecording& stopped) {
    services_.log.info("Recording too short ({} bytes)",
                       stopped.pcm->size() * sizeof(std::int16_t));
    const bool nothingHeard =
        stopped.pcm->empty() &&
        services_.scheduler.now() - *recordingStartedAt_ >= minRecordingDuration;
    finish();
    if (utterance_.brokenOff) {
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
    auto sentence = fmt::format(fmt::runtime(translated("{} failed: {}")),
                                translated(recognition.engineName()), error.shortText());
    if (!utterance_.partialTranscript.empty()) {
        // The device listened too, for the preview: better its words than none.
        delivery_.setLastOutput(utterance_.partialTranscript);
        sentence += translated(messages::pastesWhatYouSaid);
    } else if (kept) {
        sentence += translated(messages::savedInMenu);
    }
    if (const auto problem = recognition.keyProblem(); !problem.empty())
        sentence = fmt::format(fmt::runtime(translated("{} ({})")), sentence, translated(problem));
    finish();
    report(std::move(sentence), std::move(error));
}

void RecordingSession::report(std::string sentence, STTError error) {
    notice(sentence);
    lastSTTError_ = {std::move(error), std::move(sentence), services_.calendar.now()};
    services_.notifications.post(sttErrorNotification);
}

/// One sentence: what the user has to do something about comes before what is merely worth knowing.
asio::awaitable<void> RecordingSession::deliver(SpeechSession::Recognition recognition) {
    std::string_view said;
    auto heard = recognition.text;
    if (const auto agent = agentSink_) {
        agent->text = co_await delivery_.deliverToAgent(utterance_, std::move(recognition.text));
        if (agent->abandoned)
            said = messages::agentGone;
    } else {
        said = co_await delivery_.deliver(utterance_, std::move(recognition.text));
    }
    lastSTTError_.reset();
    keepForReview(std::move(heard));
    finish();
    if (said.empty() && utterance_.brokenOff)
        said = messages::typedWhatWasHeard;
    notice(said.empty() ? recognition.notice : said);
}

/// Whether recordings are wanted at night, to be heard a second time.
bool RecordingSession::isReviewed() const {
    const auto& settings = services_.settings.record();
    return settings.nightlyReview && settings.rememberWhatISay && !speechServer(settings).empty() &&
           services_.llmRefiner.isConfigured();
}

void RecordingSession::keepForReview(std::string heard) {
    if (!spool_ || !utterance_.historyID || utterance_.entryID != utterance_.historyID)
        return;
    auto keep = [](std::unique_ptr<RecordingArchive::Spool> spool,
                   std::string text) -> asio::awaitable<void> {
        co_await spool->keep(std::move(text));
    };
    tasks_.spawn(keep(std::move(spool_), std::move(heard)));
}

// --- Live ----------------------------------------------------------------------------------------

/// The last piece of a live dictation, and what is still on its way.
asio::awaitable<void> RecordingSession::runLive(StoppedRecording stopped) {
    const auto summary = co_await live_.finish(std::move(stopped));
    co_await checkpoint();
    utterance_.commitAt = services_.scheduler.now();
    std::string said;
    if (summary.failed > 0)
        said = fmt::format(fmt::runtime(translated("{} of {} parts weren't recognised{}")),
                           summary.failed, summary.segments, translated(messages::savedInMenu));
    else if (summary.segments == 0)
        said = utterance_.brokenOff ? messages::recordingFailed : messages::didNotCatch;
    else if (utterance_.brokenOff)
        said = messages::typedWhatWasHeard;
    if (!summary.rest.empty()) {
        const auto outcome = co_await delivery_.inserter().copy(summary.rest);
        said = outcome == Inserter::Outcome::lost ? messages::notEvenCopied
               : summary.appChanged               ? messages::restCopied
                                                  : messages::restNotTyped;
    }
    live_.restIsSafe();
    writeDownLive(WasCancelled::no);
    finish();
    if (summary.error)
        report(std::move(said), *summary.error);
    else
        notice(said);
}

void RecordingSession::writeDownLive(WasCancelled cancelled) {
    // Once, whatever else becomes of it.
    if (!std::exchange(liveUnderWay_, false) || live_.state().output.empty())
        return;
    utterance_.processedText = live_.joinedOutput();
    utterance_.entryID = delivery_.writeDown(
        {services_.ids.uuid(), live_.joinedRaw(), *utterance_.processedText, utterance_.bundleID,
         utterance_.appName, EntryKind::live, std::nullopt, cancelled == WasCancelled::yes});
}

// --- Again ---------------------------------------------------------------------------------------

std::string_view RecordingSession::pasteLast() {
    const auto front = services_.inserting.frontApplication.current();
    if (!lastOutput())
        return refused(messages::nothingToPaste);
    if (front && !services_.settings.isAllowed(front->bundleID))
        return refused(messages::excludedApplication);
    tasks_.spawn(typeAgain({*lastOutput(), front ? std::optional(front->bundleID) : std::nullopt}));
    return {};
}

void RecordingSession::forget(const DeletedDictations& deleted) {
    delivery_.forget(deleted);
}

asio::awaitable<void> RecordingSession::typeAgain(Inserter::Request request) {
    const auto outcome = co_await delivery_.type(std::move(request));
    notice(messages::noticeFor(outcome));
}

std::string_view RecordingSession::sendAgain(std::string recordingID) {
    const auto front = services_.inserting.frontApplication.current();
    if (state_ != RecognitionState::idle)
        return refused(messages::stillWorking);
    if (front && !services_.settings.isAllowed(front->bundleID))
        return refused(messages::excludedApplication);
    delivery_.beginAnew();
    rememberFront(front);
    utterance_.recordingID = recordingID;
    setState(RecognitionState::refining);
    services_.panel.showWorking("");
    activeTask_ = tasks_.spawn(runArchived(std::move(recordingID)));
    return {};
}

asio::awaitable<void> RecordingSession::runArchived(std::string recordingID) {
    auto samples = co_await services_.archive.load(recordingID);
    co_await checkpoint();
    if (!samples) {
        finish();
        notice(fmt::format(fmt::runtime(translated("The recording can't be sent: {}")),
                           translated(samples.error())));
        co_return;
    }
    const auto item = services_.archive.item(recordingID);
    const bool isFirstTime = item && !item->text;
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
    // What is deleted from the history takes its recording along.
    if (isFirstTime)
        utterance_.historyID = recordingID;
    services_.archive.setText(recordingID, recognised->text);
    co_await deliver(std::move(*recognised));
}

// --- For AI clients ------------------------------------------------------------------------------

asio::awaitable<RecordingSession::AgentResult> RecordingSession::dictateForAgent(
    std::chrono::seconds maxSeconds) {
    if (state_ != RecognitionState::idle)
        co_return std::unexpected(std::string(messages::agentBusy));
    const auto sink = std::make_shared<AgentSink>();
    // Nobody listens any more, but what was said until then is not lost.
    sink->onAbandoned = [this] { stop(); };
    // A client that goes away must not take the user's words with it.
    const AgentSink::Listener listener(*sink);
    begin(HotkeyMode::dictate, sink);
    agentTimer_ = tasks_.spawn(
        stopAfter(std::clamp(maxSeconds, std::chrono::seconds(1), longestAgentDictation)));
    co_await sink->done.wait();
    if (sink->text.empty())
        co_return std::unexpected(std::string(messages::agentNothing));
    co_return std::move(sink->text);
}

asio::awaitable<void> RecordingSession::stopAfter(std::chrono::seconds time) {
    co_await services_.scheduler.sleep(time);
    stop();
}

asio::awaitable<AgentTyping::Result> RecordingSession::typeText(std::string text) {
    co_return co_await agentTyping_.type(std::move(text));
}

// --- End -----------------------------------------------------------------------------------------

asio::awaitable<void> RecordingSession::shutDown() {
    delivery_.beginAnew();
    if (delivering() && state_ == RecognitionState::refining)
        co_await idle_.wait();
    // What was delivered meanwhile is neither sent by itself nor watched.
    delivery_.beginAnew();
    if (state_ != RecognitionState::idle) {
        activeTask_.cancel();
        co_await keepUnfinished();
        recognition_.reset();
        finish();
    }
    co_await delivery_.settled();
    services_.muter.restore();
    co_await services_.muter.settled();
}

/// Archives what was recorded and is not typed yet.
asio::awaitable<void> RecordingSession::keepUnfinished() {
    auto spool = std::move(spool_);
    if (liveUnderWay_) {
        writeDownLive(WasCancelled::no);
        co_await live_.keepUnfinished();
    }
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
    activeTask_.cancel();
    if (spool_)
        spool_->abandon();
    recognition_.reset();
    if (dictationEngine_.isRecording() || liveUnderWay_)
        tasks_.spawn(keepUnfinished());
    finish();
    notice(messages::wentWrong);
}

}  // namespace quillet
