#pragma once

#include <array>
#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "meetings/MeetingSession.h"
#include "meetings/MeetingWriter.h"
#include "platform/IdSource.h"
#include "settings/AppSettings.h"

namespace quillet {

/// The phase of the meeting changed.
inline constexpr std::string_view meetingChangedNotification = "Quillet.MeetingChanged";

/// Records meetings, one at a time, and has their notes written. Belongs to the main queue's
/// thread. What was begun goes on when the one who asked for it is gone.
class MeetingTranscriber {
public:
    struct Services {
        Loop& loop;
        Scheduler& scheduler;
        const Calendar& calendar;
        IdSource& ids;
        NotificationCenter& notifications;
        AppSettings& settings;
        CallAudio& audio;
        SpeechClient& speechClient;
        OnDeviceTranscriber& onDevice;
        LLMRefiner& llm;
        MeetingArchive& archive;
        MeetingLibrary& notes;
        SerialQueue& worker;  ///< where samples are looked through
        LLMRefiner::ReadMemory memory;
        /// Tells the user something: a title and what stands below it, which may be empty.
        std::function<void(std::string title, std::string body)> tell;
        Log log;
    };

    struct Idle {};
    struct Recording {
        Calendar::UnixTime since;
    };
    struct Writing {};
    using Phase = std::variant<Idle, Recording, Writing>;

    /// The error is a sentence for the user.
    using Started = std::expected<void, std::string>;
    /// What became of a meeting: the name of its note, none where nothing was heard.
    using Finished = std::expected<std::optional<std::string>, std::string>;

    explicit MeetingTranscriber(Services services);
    ~MeetingTranscriber();
    MeetingTranscriber(const MeetingTranscriber&) = delete;
    MeetingTranscriber& operator=(const MeetingTranscriber&) = delete;

    [[nodiscard]] const Phase& phase() const { return phase_; }
    [[nodiscard]] bool isRecording() const { return std::holds_alternative<Recording>(phase_); }
    /// Whether the microphone is near silent.
    [[nodiscard]] bool isQuiet() const { return quiet_; }

    /// Whether the user is still to be reminded that others are recorded.
    [[nodiscard]] bool remindsOfConsent() const;
    void remindNoMore();

    /// Begins to record at once; the result comes when it is known what can be heard.
    [[nodiscard]] asio::awaitable<Started> start();
    /// Ends the recording and has the note written.
    [[nodiscard]] asio::awaitable<Finished> stop();
    /// Finishes the note of the oldest meeting that broke off.
    [[nodiscard]] asio::awaitable<Finished> recover();
    /// Deletes what there is of the oldest meeting that broke off.
    [[nodiscard]] asio::awaitable<Finished> discard();
    /// Has the summary written of a note that has none; empty: of the latest such note.
    [[nodiscard]] asio::awaitable<Finished> summarise(std::string note);
    [[nodiscard]] bool isSummarising() const { return summarising_.running(); }
    /// Gives up the summary that is asked for; the note stays without one.
    void cancelSummary();
    /// Meetings that broke off.
    [[nodiscard]] asio::awaitable<std::vector<MeetingRecord>> unfinished();

    /// Ends a recording, for the next start to finish.
    [[nodiscard]] asio::awaitable<void> shutDown();

private:
    using Side = CallAudio::Side;
    using State = CallAudioSink::State;

    void setPhase(Phase phase);
    void tell(std::string_view title, std::string_view body = {});
    [[nodiscard]] std::optional<std::string> missingEngine() const;
    [[nodiscard]] MeetingSession::Callbacks callbacks();
    [[nodiscard]] std::optional<State> state(Side side) const {
        return states_[static_cast<std::size_t>(side)];
    }
    [[nodiscard]] bool isHeard(Side side) const { return state(side) == State::running; }

    asio::awaitable<void> begin();
    asio::awaitable<std::expected<void, std::string>> beginRecording();
    asio::awaitable<void> prepare();
    asio::awaitable<std::string> keyFor(std::string endpoint);
    asio::awaitable<void> finish();
    asio::awaitable<void> resume(MeetingRecord record);
    asio::awaitable<Finished> writeDown();
    asio::awaitable<Finished> writeNote(MeetingRecord& record);
    asio::awaitable<Finished> nothingHeard();
    asio::awaitable<void> summariseOrGiveUp(MeetingRecord record);
    asio::awaitable<Finished> summariseNow(MeetingRecord record);
    void end(Finished finished);

    void stateChanged(Side side, State state);
    asio::awaitable<void> tellOfChange(Side side, State state);
    void tellOf(Side side, State state);

    Services services_;
    MeetingWriter writer_;
    Phase phase_ = Idle{};
    std::unique_ptr<MeetingSession> session_;
    MeetingWriter::Prompting prompting_;
    std::array<std::optional<State>, 2> states_;
    bool begun_ = false;  // what is heard at the beginning is known, and told
    bool quiet_ = false;
    bool isRecovered_ = false;
    bool toldOfNothing_ = false;
    Started startedAs_;
    Finished finishedAs_;
    TaskHandle preparing_;
    TaskHandle summarising_;
    bool summaryCancelled_ = false;
    Event statesKnown_;
    Event startEnded_;
    Event ended_;  // idle again
    TaskScope tasks_;
};

}  // namespace quillet
