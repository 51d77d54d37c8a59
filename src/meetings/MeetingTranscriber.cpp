#include "meetings/MeetingTranscriber.h"

#include <fmt/format.h>

#include <asio/experimental/awaitable_operators.hpp>
#include <asio/system_error.hpp>

#include "base/async/Checkpoint.h"
#include "base/async/Loop.h"
#include "meetings/MeetingMessages.h"
#include "speech/SpeechServer.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;
namespace messages = meeting_messages;

/// How long the sound server is given to say what can be heard.
constexpr std::chrono::seconds longestStart{2};
/// A device that is changed is away for a moment.
constexpr std::chrono::seconds changeOfDevice{3};
constexpr int mostTerms = 40;
constexpr std::string_view consentFlag = "recordingNotice.meetingHidden";

std::string_view reasonWithoutSystemAudio(CallAudioSink::State state) {
    using enum CallAudioSink::State;
    switch (state) {
        case noPermission:
            return messages::allowSystemAudio;
        case muted:
            return messages::speakersMuted;
        case noDevice:
            return messages::noSpeakers;
        case noServer:
            return messages::noSound;
        case unsupported:
        case running:
            break;
    }
    return messages::noSystemAudio;
}

std::string_view reasonWithoutMicrophone(CallAudioSink::State state) {
    using enum CallAudioSink::State;
    switch (state) {
        case noPermission:
            return messages::microphoneRefused;
        case noServer:
            return messages::noSound;
        case running:
        case muted:
        case noDevice:
        case unsupported:
            break;
    }
    return messages::noMicrophone;
}

}  // namespace

MeetingTranscriber::MeetingTranscriber(Services services)
    : services_(std::move(services)),
      writer_({services_.calendar, services_.llm, services_.archive, services_.notes,
               services_.worker, services_.log}),
      tasks_(services_.loop) {
    ended_.set();
}

MeetingTranscriber::~MeetingTranscriber() = default;

void MeetingTranscriber::setPhase(Phase phase) {
    phase_ = phase;
    if (std::holds_alternative<Idle>(phase_))
        ended_.set();
    else
        ended_.reset();
    services_.notifications.post(meetingChangedNotification);
}

void MeetingTranscriber::tell(std::string_view title, std::string_view body) {
    services_.log.info("{}", title);
    services_.tell(std::string(title), std::string(body));
}

bool MeetingTranscriber::remindsOfConsent() const {
    return !services_.settings.isNoted(consentFlag);
}

void MeetingTranscriber::remindNoMore() {
    services_.settings.note(consentFlag);
}

// --- Recording ---

/// Why nothing could be transcribed, before anything is recorded for it.
std::optional<std::string> MeetingTranscriber::missingEngine() const {
    const auto& record = services_.settings.record();
    if (!speechServer(record).empty())
        return std::nullopt;
    const auto can = services_.onDevice.supports(record.languageCode().value_or("mixed"));
    if (can)
        return std::nullopt;
    return std::string(explanation(can.error()));
}

asio::awaitable<MeetingTranscriber::Started> MeetingTranscriber::start() {
    if (isRecording())
        co_return std::unexpected("A meeting is being recorded already.");
    if (!std::holds_alternative<Idle>(phase_))
        co_return std::unexpected("The notes of the last meeting are still being written.");
    if (auto reason = missingEngine()) {
        tell(messages::cannotStart, *reason);
        co_return std::unexpected(fmt::format("{}: {}.", messages::cannotStart, *reason));
    }
    setPhase(Recording{services_.calendar.now()});
    startEnded_.reset();
    tasks_.spawn(begin());
    co_await startEnded_.wait();
    co_return startedAs_;
}

asio::awaitable<void> MeetingTranscriber::begin() {
    startedAs_ = co_await beginRecording();
    if (!startedAs_) {
        preparing_.cancel();
        if (session_) {
            const auto id = session_->draft().id;
            session_.reset();
            co_await services_.archive.remove(id);
        }
        tell(messages::cannotStart, startedAs_.error());
        startedAs_ =
            std::unexpected(fmt::format("{}: {}", messages::cannotStart, startedAs_.error()));
        setPhase(Idle{});
    }
    startEnded_.set();
}

asio::awaitable<std::expected<void, std::string>> MeetingTranscriber::beginRecording() {
    states_ = {};
    statesKnown_.reset();
    begun_ = false;
    quiet_ = false;
    isRecovered_ = false;
    MeetingRecord record;
    record.id = services_.ids.uuid();
    record.started = std::get<Recording>(phase_).since;
    // Known before it is written, so that a crash leaves no draft that nobody knows.
    record.note = co_await services_.notes.freeName(
        noteFileName(services_.calendar.local(record.started), draftTitle));
    auto audio = co_await services_.archive.begin(record.id);
    const bool saved = audio && co_await services_.archive.save(record);
    co_await checkpoint();
    session_ = std::make_unique<MeetingSession>(
        MeetingSession::Services{services_.loop, services_.scheduler, services_.audio,
                                 services_.archive, services_.log},
        std::move(record), callbacks());
    if (!saved)
        co_return std::unexpected(
            "Its audio cannot be written to the disk. Free some space and try again.");
    session_->record(std::move(audio));
    preparing_ = tasks_.spawn(prepare());
    co_await (statesKnown_.wait() || services_.scheduler.sleep(longestStart));
    if (!isHeard(Side::microphone) && !isHeard(Side::systemAudio))
        co_return std::unexpected(std::string(
            reasonWithoutMicrophone(state(Side::microphone).value_or(State::noServer))));
    tell(messages::started);
    for (const auto side : {Side::microphone, Side::systemAudio}) {
        if (!isHeard(side))
            tellOf(side, state(side).value_or(State::noServer));
    }
    begun_ = true;
    co_return std::expected<void, std::string>();
}

MeetingSession::Callbacks MeetingTranscriber::callbacks() {
    MeetingSession::Callbacks callbacks;
    callbacks.linesChanged = [this] { return writer_.writeDraft(session_->draft()); };
    callbacks.stateChanged = [this](Side side, State state) { stateChanged(side, state); };
    callbacks.quietChanged = [this](bool quiet) {
        // Where there is no microphone the user has been told that.
        quiet_ = quiet && isHeard(Side::microphone);
        if (quiet_)
            tell(messages::almostNothing, messages::checkMicrophone);
        services_.notifications.post(meetingChangedNotification);
    };
    callbacks.recognitionFails = [this](const STTError& error) {
        tell(messages::notTranscribing,
             fmt::format("{} {}", error.longText(), messages::audioIsSafe));
    };
    callbacks.diskFailed = [this] { tell(messages::diskFailed, messages::diskFailedAdvice); };
    return callbacks;
}

/// What the meeting is transcribed and written with, as it is set now.
asio::awaitable<void> MeetingTranscriber::prepare() {
    const auto settings = services_.settings.record();
    PieceRecogniser::Config config;
    config.stt = speechServer(settings);
    config.sttModel = settings.sttModel;
    config.language = settings.languageCode().value_or("mixed");
    config.sentLanguage = settings.languageCode();
    if (!config.stt.empty())
        config.sttKey = co_await keyFor(config.stt);
    auto memory = co_await services_.memory(mostTerms);
    co_await checkpoint();
    config.vocabulary = std::move(memory.terms);
    prompting_ = {settings.llmModel, std::move(memory.profile)};
    session_->transcribe(std::make_shared<PieceRecogniser>(
        PieceRecogniser::Services{services_.speechClient, services_.onDevice, services_.worker},
        std::move(config)));
}

asio::awaitable<std::string> MeetingTranscriber::keyFor(std::string endpoint) {
    std::string name(speechKeyName(endpoint));
    auto key = co_await services_.settings.secretFor(std::move(name), std::move(endpoint));
    if (!key)
        services_.log.error("The API key could not be read: {}", explanation(key.error()));
    co_return std::move(key).value_or("");
}

void MeetingTranscriber::stateChanged(Side side, State state) {
    states_[static_cast<std::size_t>(side)] = state;
    if (side == Side::systemAudio && state != State::running)
        services_.log.info("System audio unavailable: {}", reasonWithoutSystemAudio(state));
    if (states_[0] && states_[1])
        statesKnown_.set();
    if (begun_ && state != State::running)
        tasks_.spawn(tellOfChange(side, state));
}

asio::awaitable<void> MeetingTranscriber::tellOfChange(Side side, State state) {
    co_await services_.scheduler.sleep(changeOfDevice);
    if (isRecording() && this->state(side) == state)
        tellOf(side, state);
}

void MeetingTranscriber::tellOf(Side side, State state) {
    if (!isHeard(Side::microphone) && !isHeard(Side::systemAudio)) {
        if (!std::exchange(toldOfNothing_, true))
            tell(messages::nothingIsHeard,
                 reasonWithoutMicrophone(this->state(Side::microphone).value_or(state)));
        return;
    }
    toldOfNothing_ = false;
    if (side == Side::systemAudio)
        tell(messages::microphoneOnly, reasonWithoutSystemAudio(state));
    else
        tell(messages::farSideOnly, reasonWithoutMicrophone(state));
}

// --- Writing ---

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::stop() {
    if (isRecording() && !begun_)
        co_await startEnded_.wait();
    if (!isRecording())
        co_return std::unexpected("No meeting is being recorded.");
    setPhase(Writing{});
    tell(messages::stopped);
    tasks_.spawn(finish());
    co_await ended_.wait();
    co_return finishedAs_;
}

asio::awaitable<void> MeetingTranscriber::finish() {
    co_await session_->stop();
    end(co_await writeDown());
}

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::recover() {
    if (!std::holds_alternative<Idle>(phase_))
        co_return std::unexpected("A meeting is under way. Try again when its note is written.");
    auto open = co_await services_.archive.unfinished();
    co_await checkpoint();
    if (open.empty())
        co_return std::unexpected("No meeting was interrupted.");
    if (!std::holds_alternative<Idle>(phase_))
        co_return std::unexpected("A meeting is under way. Try again when its note is written.");
    setPhase(Writing{});
    tasks_.spawn(resume(std::move(open.front())));
    co_await ended_.wait();
    co_return finishedAs_;
}

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::discard() {
    auto open = co_await unfinished();
    co_await checkpoint();
    if (open.empty())
        co_return std::unexpected("No meeting was interrupted.");
    co_await services_.notes.remove(open.front().note);
    co_await services_.archive.remove(open.front().id);
    services_.notifications.post(meetingChangedNotification);
    co_return Finished();
}

asio::awaitable<void> MeetingTranscriber::resume(MeetingRecord record) {
    const auto pieces = co_await services_.archive.pieces(record.id, record.transcribedUpTo);
    co_await checkpoint();
    session_ = std::make_unique<MeetingSession>(
        MeetingSession::Services{services_.loop, services_.scheduler, services_.audio,
                                 services_.archive, services_.log},
        std::move(record), callbacks());
    isRecovered_ = true;
    session_->resume(pieces);
    co_await prepare();
    end(co_await writeDown());
}

/// What remains once nothing more is recorded.
asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::writeDown() {
    const auto transcribed = co_await session_->transcribed();
    if (!transcribed) {
        const auto why =
            fmt::format("{} {}", transcribed.error().longText(),
                        session_->isSafe() ? messages::audioIsKept : messages::audioIsPartlyKept);
        tell(messages::notFinished, why);
        co_return std::unexpected(fmt::format("{}: {}", messages::notFinished, why));
    }
    if (session_->draft().lines.empty())
        co_return co_await nothingHeard();
    co_return co_await writeNote(session_->draft());
}

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::nothingHeard() {
    auto& record = session_->draft();
    if (session_->heardVoice() || isRecovered_) {
        // The recogniser may be wrong about it: the audio stays for its days.
        record.stage = MeetingRecord::Stage::done;
        if (!co_await services_.archive.save(record))
            services_.log.error("The record of the meeting could not be saved");
    } else {
        co_await services_.archive.remove(record.id);
    }
    co_await services_.notes.remove(record.note);
    tell(messages::nothingHeard);
    co_return Finished();
}

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::writeNote(MeetingRecord& record) {
    auto note = co_await writer_.writeNote(record, prompting_);
    if (!note) {
        const auto advice = fmt::format(
            "It cannot be written to the disk. Free some space; `quillet meeting {}` writes it "
            "then.",
            record.stage == MeetingRecord::Stage::open ? "recover" : "summarize");
        tell(messages::notFinished, advice);
        co_return std::unexpected(fmt::format("{}: {}", messages::notFinished, advice));
    }
    if (note->noSummary)
        tell(messages::written,
             fmt::format("It has no summary: {}. `quillet meeting summarize` asks for it again.",
                         *note->noSummary));
    else
        tell(messages::written, note->name);
    co_return std::move(note->name);
}

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::summarise(std::string note) {
    if (!std::holds_alternative<Idle>(phase_))
        co_return std::unexpected("A meeting is under way. Try again when its note is written.");
    auto record = co_await services_.archive.withoutSummary(note);
    co_await checkpoint();
    if (!record)
        co_return std::unexpected(note.empty() ? "Every meeting note has its summary."
                                               : "No note by that name waits for a summary.");
    if (!co_await services_.notes.read(record->note)) {
        record->stage = MeetingRecord::Stage::done;
        (void)co_await services_.archive.save(*record);
        co_return std::unexpected(
            fmt::format("The note \"{}\" was deleted, so nothing is summarized.", record->note));
    }
    if (!std::holds_alternative<Idle>(phase_))
        co_return std::unexpected("A meeting is under way. Try again when its note is written.");
    summaryCancelled_ = false;
    summarising_ = tasks_.spawn(summariseOrGiveUp(std::move(*record)));
    setPhase(Writing{});
    co_await ended_.wait();
    co_return finishedAs_;
}

void MeetingTranscriber::cancelSummary() {
    summaryCancelled_ = isSummarising();
    summarising_.cancel();
}

asio::awaitable<void> MeetingTranscriber::summariseOrGiveUp(MeetingRecord record) {
    Finished finished = std::unexpected("The summary was cancelled.");
    try {
        finished = co_await summariseNow(std::move(record));
    } catch (const asio::system_error&) {
        // The end of the program cancels it too, and then nothing more is to be told.
        if (!summaryCancelled_)
            throw;
    }
    end(std::move(finished));
}

asio::awaitable<MeetingTranscriber::Finished> MeetingTranscriber::summariseNow(
    MeetingRecord record) {
    auto memory = co_await services_.memory(mostTerms);
    co_await checkpoint();
    prompting_ = {services_.settings.record().llmModel, std::move(memory.profile)};
    co_return co_await writeNote(record);
}

void MeetingTranscriber::end(Finished finished) {
    finishedAs_ = std::move(finished);
    session_.reset();
    setPhase(Idle{});
}

asio::awaitable<std::vector<MeetingRecord>> MeetingTranscriber::unfinished() {
    auto open = co_await services_.archive.unfinished();
    if (session_)
        std::erase_if(open, [&](const auto& one) { return one.id == session_->draft().id; });
    co_return open;
}

asio::awaitable<void> MeetingTranscriber::shutDown() {
    const bool wasRecording = isRecording();
    tasks_.cancelAndJoin();
    setPhase(Writing{});
    if (wasRecording && session_)
        co_await session_->stop();
    session_.reset();
}

}  // namespace quillet
