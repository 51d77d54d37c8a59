#include "app/LiveWriter.h"

#include "app/ContextCapture.h"
#include "app/Messages.h"
#include "base/async/Checkpoint.h"
#include "base/text/Gap.h"
#include "base/text/Text.h"

namespace quillet {

namespace {

using namespace std::chrono_literals;

constexpr auto tick = 250ms;
constexpr int ticksBetweenTries = 4;
constexpr double shortestPiece = 0.4;  // seconds
/// How many segments a server is asked about at a time. The recordings of others are on the disk.
constexpr std::size_t mostRecognitions = 3;

void append(std::string& text, std::string_view piece) {
    text += gapBetween(text, piece);
    text += piece;
}

std::string joined(const std::vector<std::string>& pieces) {
    std::string text;
    for (const auto& piece : pieces)
        append(text, piece);
    return text;
}

}  // namespace

struct LiveWriter::Piece {
    std::shared_ptr<const PcmSamples> pcm;  // none: only on the disk, until it has its turn
    std::unique_ptr<RecordingArchive::Spool> spool;
    bool begun = false;
    std::optional<SpeechSession::Result> result;
};

LiveWriter::LiveWriter(Services services) : services_(std::move(services)) {}

void LiveWriter::begin(const Utterance& utterance) {
    services_.log.info("Live mode on");
    discard();
    utterance_ = &utterance;
    ++liveGeneration_;
    live_ = {};
    segments_ = 0;
    error_.reset();
    finishing_ = false;
    blocked_ = false;
    done_.reset();
    nextRecordingId_ = services_.ids.uuid();
    services_.engine.beginSegments();
    liveTimer_ = services_.tasks.spawn(cutAtPauses());
    live_.chain = services_.tasks.spawn(writeInOrder());
}

// --- Cutting and recognising ---------------------------------------------------------------------

asio::awaitable<void> LiveWriter::cutAtPauses() {
    while (true) {
        co_await services_.scheduler.sleep(tick);
        if (auto segment = services_.engine.takeSegment(nextRecordingId_)) {
            nextRecordingId_ = services_.ids.uuid();
            add(std::move(*segment));
        }
        // What could not be typed may be a moment later, and once the application is back.
        if (!isInFront() || ++ticks_ % ticksBetweenTries == 0)
            blocked_ = false;
        if (canType())
            changed_.set();
    }
}

void LiveWriter::add(DictationEngine::Segment segment) {
    if (!segment.hasVoice) {
        services_.log.info("No speech in the recording — not sent");
        return;
    }
    ++segments_;
    pieces_.push_back(std::make_shared<Piece>(std::move(segment.pcm), std::move(segment.spool)));
    startRecognitions();
    if (!pieces_.back()->begun)
        work_.push_back(services_.tasks.spawn(leaveOnDisk(pieces_.back())));
}

void LiveWriter::startRecognitions() {
    std::erase_if(work_, [](const TaskHandle& task) { return !task.running(); });
    const auto count = std::min(pieces_.size(), mostRecognitions);
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::exchange(pieces_[i]->begun, true))
            work_.push_back(services_.tasks.spawn(recognise(pieces_[i])));
    }
}

/// A segment that has to wait for a slow server waits on the disk.
asio::awaitable<void> LiveWriter::leaveOnDisk(PiecePtr piece) {
    if (co_await piece->spool->flush() && !piece->begun)
        piece->pcm.reset();
}

asio::awaitable<void> LiveWriter::recognise(PiecePtr piece) {
    const int generation = liveGeneration_;
    const auto recognition = services_.recognise();
    if (!piece->pcm)
        piece->pcm = std::make_shared<const PcmSamples>(co_await piece->spool->load());
    auto result = co_await recognition->finish(piece->pcm);
    co_await checkpoint();
    if (generation != liveGeneration_)
        co_return;
    piece->result = std::move(result);
    piece->pcm.reset();
    changed_.set();
}

// --- Writing -------------------------------------------------------------------------------------

asio::awaitable<void> LiveWriter::writeInOrder() {
    while (!finishing_ || !pieces_.empty() || canType()) {
        if (canType()) {
            co_await typeWaiting();
        } else if (!pieces_.empty() && pieces_.front()->result) {
            co_await write(pieces_.front());
            co_await checkpoint();
            untyped_.push_back(std::move(pieces_.front()->spool));
            pieces_.pop_front();
            startRecognitions();
        } else {
            changed_.reset();
            co_await changed_.wait();
        }
    }
    done_.set();
}

asio::awaitable<void> LiveWriter::write(PiecePtr piece) {
    auto& result = *piece->result;
    if (!result || result->text.empty()) {
        if (!result)
            error_ = result.error();
        services_.log.error("Live segment failed: {}",
                            result ? "no words in it" : result.error().longText());
        ++live_.failed;
        co_await piece->spool->keep();
        piece->spool.reset();
        co_return;
    }
    const auto here = situation();
    const auto written = co_await services_.delivery.write(here, result->text);
    co_await checkpoint();
    services_.notice(written.way == TextPipeline::Written::Way::offline ? messages::sentAsHeard
                                                                        : result->notice);
    wrote(std::move(result->text), written);
}

void LiveWriter::wrote(std::string raw, const TextPipeline::Written& written) {
    // What was typed before decides on the gap, also when it is on its way already.
    const auto gap = live_.output.empty() ? "" : gapBetween(live_.output.back(), written.text);
    live_.unpasted += gap;
    live_.unpasted += written.text;
    blocked_ = false;
    live_.raw.push_back(std::move(raw));
    live_.output.push_back(written.text);
    services_.delivery.setLastOutput(joinedOutput());
    services_.delivery.remember(*utterance_, written);
}

/// The moment of the next segment: what was written so far stands before it.
Utterance LiveWriter::situation() const {
    Utterance here = *utterance_;
    if (services_.settings.record().useFocusedContext) {
        auto before = here.context + joinedOutput();
        here.context = lastCharacters(before, ContextCapture::contextCharacters);
    }
    return here;
}

bool LiveWriter::canType() const {
    return !live_.unpasted.empty() && !blocked_ && isInFront();
}

bool LiveWriter::isInFront() const {
    const auto front = services_.frontApplication.current();
    return front && utterance_->bundleID && front->bundleID == *utterance_->bundleID;
}

asio::awaitable<void> LiveWriter::typeWaiting() {
    Inserter::Request request{std::exchange(live_.unpasted, {}), utterance_->bundleID,
                              Inserter::Request::Otherwise::nothing};
    auto text = request.text;
    const auto outcome = co_await services_.delivery.inserter().insert(std::move(request));
    if (outcome == Inserter::Outcome::pasted) {
        untyped_.clear();
        services_.typed();
        co_return;
    }
    blocked_ = true;
    live_.unpasted.insert(0, text);
}

// --- The end -------------------------------------------------------------------------------------

asio::awaitable<LiveWriter::Summary> LiveWriter::finish(StoppedRecording stopped) {
    liveTimer_.cancel();
    if (stopped.seconds() >= shortestPiece)
        add({std::move(stopped.pcm), stopped.hasVoice, std::move(stopped.spool)});
    finishing_ = true;
    blocked_ = false;
    changed_.set();
    co_await done_.wait();
    services_.log.info("Live done: {} segment(s), {} failed", segments_, live_.failed);
    co_return Summary{segments_, live_.failed, std::exchange(live_.unpasted, {}), !isInFront(),
                      std::exchange(error_, std::nullopt)};
}

void LiveWriter::stopWork() {
    liveTimer_.cancel();
    live_.chain.cancel();
    for (const auto& task : std::exchange(work_, {}))
        task.cancel();
    ++liveGeneration_;
}

void LiveWriter::discard() {
    stopWork();
    pieces_.clear();
    untyped_.clear();
}

void LiveWriter::restIsSafe() {
    untyped_.clear();
}

asio::awaitable<void> LiveWriter::keepUnfinished() {
    stopWork();
    auto spools = std::exchange(untyped_, {});
    for (const auto& piece : std::exchange(pieces_, {}))
        spools.push_back(std::move(piece->spool));
    for (const auto& spool : spools) {
        if (spool)
            co_await spool->keep();
    }
}

std::string LiveWriter::joinedRaw() const {
    return joined(live_.raw);
}

std::string LiveWriter::joinedOutput() const {
    return joined(live_.output);
}

}  // namespace quillet
