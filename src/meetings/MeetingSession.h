#pragma once

#include <array>
#include <asio/awaitable.hpp>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "meetings/MeetingArchive.h"
#include "meetings/MeetingInput.h"
#include "meetings/PieceRecogniser.h"

namespace quillet {

/// One meeting, from its first sample to its last line: the audio goes to the disk first, is cut
/// into pieces, and these are transcribed strictly one after another. Destroyed, it leaves
/// everything as a crash would: on the disk, to be gone on with. Belongs to the main queue's
/// thread.
class MeetingSession {
public:
    struct Services {
        Loop& loop;
        Scheduler& scheduler;
        CallAudio& audio;
        MeetingArchive& archive;
        Log log;
    };
    struct Callbacks {
        /// Waited for before the next piece.
        std::function<asio::awaitable<void>()> linesChanged;
        std::function<void(CallAudio::Side, CallAudioSink::State)> stateChanged;
        /// The microphone is heard no more, or again.
        std::function<void(bool quiet)> quietChanged;
        /// What is said cannot be transcribed for the time being. Told once, until it can be again.
        std::function<void(const STTError&)> recognitionFails;
        /// The audio cannot be written to the disk any more; what is said is still transcribed.
        std::function<void()> diskFailed;
    };
    using Recogniser = std::shared_ptr<PieceRecogniser>;

    /// How quiet a microphone is that is muted or the wrong one, and for how long: 30 s.
    static constexpr float nearSilence = 0.0005F;
    static constexpr std::int64_t quietFrames = 30L * 16'000;

    MeetingSession(Services services, MeetingRecord record, Callbacks callbacks);
    ~MeetingSession();
    MeetingSession(const MeetingSession&) = delete;
    MeetingSession& operator=(const MeetingSession&) = delete;

    /// Records from now on.
    void record(std::unique_ptr<MeetingArchive::Audio> audio);
    /// Goes on with the audio of a meeting that broke off.
    void resume(const std::vector<MeetingPiece>& pieces);
    /// Begins to transcribe what was cut so far and will be cut.
    void transcribe(Recogniser recogniser);

    /// Ends the recording; what was heard until now is in it. Once.
    [[nodiscard]] asio::awaitable<void> stop();
    /// Waits until all is transcribed, once the recording has ended. The error says why a piece
    /// could not be; everything before it is. A piece that the server refuses for good leaves a
    /// line that says so.
    [[nodiscard]] asio::awaitable<std::expected<void, STTError>> transcribed();

    [[nodiscard]] const MeetingRecord& draft() const { return record_; }
    [[nodiscard]] MeetingRecord& draft() { return record_; }
    /// Whether all that is not transcribed yet is on the disk.
    [[nodiscard]] bool isSafe() const;
    /// Whether any piece held voice.
    [[nodiscard]] bool heardVoice() const { return heardVoice_; }

private:
    struct Pending {
        MeetingPiece piece;
        PieceRecogniser::Piece samples;  ///< none: on the disk
        bool isHeld = false;             ///< not on the disk
    };
    using Lines = PieceRecogniser::Lines;

    void samplesArrived(std::span<const std::int16_t> user, std::span<const std::int16_t> far);
    void watchQuiet(std::span<const std::int16_t> user);
    void handOver(const MeetingPiece& piece);
    void pieceCut(const MeetingPiece& piece, PieceRecogniser::Piece samples);
    void post(std::function<void(MeetingSession&)> work);
    void diskFailed();
    asio::awaitable<void> writeHeld();
    asio::awaitable<void> checkDisk(std::int64_t cutAt);
    asio::awaitable<void> transcribeAll();
    asio::awaitable<Lines> recognisePatiently(Pending& pending);
    asio::awaitable<Lines> recogniseAtLast(const Pending& pending, STTError error);
    asio::awaitable<bool> fetch(Pending& pending);
    void tellOfFailure(int failures, const STTError& error);
    asio::awaitable<void> waitBeforeRetry(int failures);

    Services services_;
    Callbacks callbacks_;
    MeetingRecord record_;
    Recogniser recogniser_;
    bool heardVoice_ = false;
    bool diskFailed_ = false;
    bool recognitionFails_ = false;
    bool deviceStandsIn_ = false;  // the server did not answer at the end
    std::deque<Pending> pending_;
    Event more_;
    Event ended_;  // nothing more will be cut
    Event transcribed_;
    std::optional<STTError> failure_;

    std::mutex lock_;
    std::unique_ptr<MeetingArchive::Audio> audio_;  // guarded by lock_ while the input runs
    PieceCutter cutter_;                            // guarded by lock_
    TwoSides current_;                              // guarded by lock_; since the last cut
    std::int64_t quietFor_ = 0;                     // guarded by lock_

    std::shared_ptr<MeetingSession*> self_ = std::make_shared<MeetingSession*>(this);
    std::unique_ptr<MeetingInput> input_;  // goes before what it fills
    TaskScope tasks_;
};

}  // namespace quillet
