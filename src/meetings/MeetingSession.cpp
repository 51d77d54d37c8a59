#include "meetings/MeetingSession.h"

#include <array>
#include <asio/experimental/awaitable_operators.hpp>

#include "audio/Wav.h"
#include "base/async/Checkpoint.h"
#include "base/async/Loop.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;
using std::chrono::seconds;

constexpr double framesPerSecond = 16'000;
/// Pieces whose samples stay in memory as well.
constexpr std::size_t mostInMemory = 4;
/// After each failure of the server; the last one again and again while the meeting goes on.
constexpr std::array<seconds, 5> pauses = {seconds(2), seconds(5), seconds(15), seconds(30),
                                           seconds(60)};
/// Failures after the meeting's end before it is given up.
constexpr int mostFailuresAtEnd = 4;
/// How often a server may refuse a piece before that is its answer.
constexpr int mostRefusals = 3;

MeetingNote::Seconds startOf(const MeetingPiece& piece) {
    return MeetingNote::Seconds(static_cast<double>(piece.from) / framesPerSecond);
}

/// Stands in the transcript where words are missing.
MeetingNote::Line notTranscribed(const MeetingPiece& piece) {
    return {startOf(piece), MeetingNote::Seconds(static_cast<double>(piece.to) / framesPerSecond),
            std::nullopt, "[…]"};
}

/// Whether the answer is about this piece, so that asking again changes nothing.
bool isRefused(const STTError& error) {
    using Kind = STTError::Kind;
    constexpr long badRequest = 400;
    constexpr long tooLarge = 413;
    constexpr long unprocessable = 422;
    return error.kind == Kind::http && (error.status == badRequest || error.status == tooLarge ||
                                        error.status == unprocessable);
}

}  // namespace

MeetingSession::MeetingSession(Services services, MeetingRecord record, Callbacks callbacks)
    : services_(std::move(services)),
      callbacks_(std::move(callbacks)),
      record_(std::move(record)),
      tasks_(services_.loop) {}

MeetingSession::~MeetingSession() {
    // Nothing is to be heard or handed over while the tasks come to their end.
    input_.reset();
    self_.reset();
}

void MeetingSession::record(std::unique_ptr<MeetingArchive::Audio> audio) {
    audio_ = std::move(audio);
    MeetingInput::Callbacks heard;
    heard.samples = [this](auto user, auto far) { samplesArrived(user, far); };
    heard.stateChanged = [this](auto side, auto state) { callbacks_.stateChanged(side, state); };
    input_ = std::make_unique<MeetingInput>(services_.audio, services_.scheduler, services_.loop,
                                            std::move(heard));
}

void MeetingSession::resume(const std::vector<MeetingPiece>& pieces) {
    for (const auto& piece : pieces)
        pieceCut(piece, nullptr);
    ended_.set();
}

void MeetingSession::transcribe(Recogniser recogniser) {
    recogniser_ = std::move(recogniser);
    tasks_.spawn(transcribeAll());
}

/// On the audio threads, one call at a time.
void MeetingSession::samplesArrived(std::span<const std::int16_t> user,
                                    std::span<const std::int16_t> far) {
    const std::scoped_lock lock(lock_);
    audio_->append(user, far);
    while (!user.empty()) {
        const auto count = std::min(user.size(), PieceCutter::longestFeed);
        const auto mine = user.first(count);
        const auto theirs = far.first(count);
        current_.user.insert(current_.user.end(), mine.begin(), mine.end());
        current_.far.insert(current_.far.end(), theirs.begin(), theirs.end());
        watchQuiet(mine);
        if (const auto piece = cutter_.feed(mine, theirs))
            handOver(*piece);
        user = user.subspan(count);
        far = far.subspan(count);
    }
}

void MeetingSession::watchQuiet(std::span<const std::int16_t> user) {
    const bool wasQuiet = quietFor_ >= quietFrames;
    const bool isHeard = rootMeanSquare(user) > nearSilence;
    quietFor_ = isHeard ? 0 : quietFor_ + static_cast<std::int64_t>(user.size());
    const bool isQuiet = quietFor_ >= quietFrames;
    if (isQuiet != wasQuiet)
        post([isQuiet](MeetingSession& self) { self.callbacks_.quietChanged(isQuiet); });
}

void MeetingSession::handOver(const MeetingPiece& piece) {
    auto samples = std::make_shared<const TwoSides>(std::exchange(current_, {}));
    post([piece, samples = std::move(samples)](MeetingSession& self) {
        self.pieceCut(piece, samples);
    });
}

/// Runs on the main queue unless the meeting is gone by then.
void MeetingSession::post(std::function<void(MeetingSession&)> work) {
    services_.loop.enqueue([self = std::weak_ptr(self_), work = std::move(work)] {
        if (const auto alive = self.lock())
            work(**alive);
    });
}

void MeetingSession::pieceCut(const MeetingPiece& piece, PieceRecogniser::Piece samples) {
    heardVoice_ = heardVoice_ || piece.hasVoice;
    pending_.push_back({piece, std::move(samples)});
    more_.set();
    if (audio_)
        tasks_.spawn(checkDisk(piece.to));
}

/// What is on the disk need not be in memory for a server that is slow.
asio::awaitable<void> MeetingSession::checkDisk(std::int64_t cutAt) {
    const bool written = co_await audio_->flush();
    co_await checkpoint();
    if (!written)
        diskFailed();
    if (pending_.size() <= mostInMemory)
        co_return;
    // The end of the last piece may still be on its way.
    for (auto& pending : pending_) {
        if (pending.piece.to < cutAt && !pending.isHeld)
            pending.samples = nullptr;
    }
}

void MeetingSession::diskFailed() {
    for (auto& pending : pending_)
        pending.isHeld = pending.samples != nullptr;
    if (!std::exchange(diskFailed_, true))
        callbacks_.diskFailed();
}

/// There may be space again by the end.
asio::awaitable<void> MeetingSession::writeHeld() {
    std::vector<Pending> held;
    std::ranges::copy_if(pending_, std::back_inserter(held), &Pending::isHeld);
    for (const auto& one : held) {
        if (!co_await audio_->rewrite(one.piece.from, one.samples))
            co_return;
        for (auto& pending : pending_) {
            if (pending.piece == one.piece)
                pending.isHeld = false;
        }
    }
}

bool MeetingSession::isSafe() const {
    return std::ranges::none_of(pending_, &Pending::isHeld);
}

asio::awaitable<void> MeetingSession::stop() {
    if (!input_)
        co_return;
    co_await input_->stop();
    input_.reset();
    const auto handedOver = std::make_shared<Event>();
    {
        const std::scoped_lock lock(lock_);
        if (const auto piece = cutter_.finish())
            handOver(*piece);
    }
    // Behind the pieces that are still on their way.
    post([handedOver](MeetingSession& self) {
        self.ended_.set();
        self.more_.set();
        handedOver->set();
    });
    co_await handedOver->wait();
    if (!co_await audio_->flush())
        diskFailed();
    co_await writeHeld();
    (void)co_await audio_->close();
    co_await checkpoint();
}

asio::awaitable<std::expected<void, STTError>> MeetingSession::transcribed() {
    co_await transcribed_.wait();
    if (failure_)
        co_return std::unexpected(*failure_);
    co_return std::expected<void, STTError>();
}

asio::awaitable<void> MeetingSession::transcribeAll() {
    while (true) {
        while (pending_.empty() && !ended_.isSet()) {
            more_.reset();
            co_await more_.wait();
        }
        if (pending_.empty())
            break;
        auto& next = pending_.front();
        Lines lines;
        if (next.piece.hasVoice)
            lines = co_await recognisePatiently(next);
        co_await checkpoint();
        if (!lines) {
            failure_ = std::move(lines.error());
            break;
        }
        record_.transcribedUpTo = next.piece.to;
        record_.lines.insert(record_.lines.end(), lines->begin(), lines->end());
        pending_.pop_front();
        if (!co_await services_.archive.save(record_))
            services_.log.error("The record of the meeting could not be saved");
        co_await checkpoint();
        if (!lines->empty())
            co_await callbacks_.linesChanged();
    }
    transcribed_.set();
}

asio::awaitable<MeetingSession::Lines> MeetingSession::recognisePatiently(Pending& pending) {
    const auto start = startOf(pending.piece);
    int failuresAtEnd = 0;
    for (int failures = 1;; ++failures) {
        if (!co_await fetch(pending)) {
            services_.log.error("A piece of the meeting's audio cannot be read");
            co_return std::vector(1, notTranscribed(pending.piece));
        }
        auto lines = co_await recogniser_->recognise(pending.samples, start);
        co_await checkpoint();
        if (lines) {
            recognitionFails_ = false;
            co_return lines;
        }
        tellOfFailure(failures, lines.error());
        if (isRefused(lines.error()) && failures >= mostRefusals)
            co_return std::vector(1, notTranscribed(pending.piece));
        if (ended_.isSet() && (deviceStandsIn_ || ++failuresAtEnd >= mostFailuresAtEnd))
            co_return co_await recogniseAtLast(pending, std::move(lines.error()));
        co_await waitBeforeRetry(failures);
    }
}

/// Once the device has stood in for the server, the rest of the meeting does not wait for it.
asio::awaitable<MeetingSession::Lines> MeetingSession::recogniseAtLast(const Pending& pending,
                                                                       STTError error) {
    if (!recogniser_->deviceCan())
        co_return std::unexpected(std::move(error));
    services_.log.info("The device transcribes what the server did not");
    auto lines = co_await recogniser_->recogniseOnDevice(pending.samples, startOf(pending.piece));
    co_await checkpoint();
    deviceStandsIn_ = lines.has_value();
    if (!lines)
        co_return std::unexpected(std::move(error));
    co_return lines;
}

asio::awaitable<bool> MeetingSession::fetch(Pending& pending) {
    if (pending.samples)
        co_return true;
    auto sides = co_await services_.archive.load(record_.id, pending.piece.from, pending.piece.to);
    co_await checkpoint();
    if (!sides)
        co_return false;
    pending.samples = std::make_shared<const TwoSides>(std::move(*sides));
    co_return true;
}

void MeetingSession::tellOfFailure(int failures, const STTError& error) {
    services_.log.error("A piece of the meeting could not be transcribed: {}", error.longText());
    // One failure may be an accident.
    if (failures > 1 && !ended_.isSet() && !std::exchange(recognitionFails_, true))
        callbacks_.recognitionFails(error);
}

/// The end of the meeting is a reason to try at once.
asio::awaitable<void> MeetingSession::waitBeforeRetry(int failures) {
    const auto which = std::min(static_cast<std::size_t>(failures), pauses.size()) - 1;
    if (ended_.isSet())
        co_await services_.scheduler.sleep(pauses[std::min<std::size_t>(which, 2)]);
    else
        co_await (services_.scheduler.sleep(pauses[which]) || ended_.wait());
}

}  // namespace quillet
