#include "audio/DictationEngine.h"

#include "audio/Wav.h"
#include "base/async/Checkpoint.h"
#include "base/async/Loop.h"

namespace quillet {

namespace {

constexpr double shortestSegment = 8.0;   // seconds
constexpr double longSegment = 60.0;      // seconds: from here on a shorter pause is enough
constexpr double longestSegment = 120.0;  // seconds
constexpr double pauseInSegment = 2.5;    // seconds
constexpr double pauseInLongSegment = 0.7;

double seconds(std::int64_t frames) {
    return static_cast<double>(frames) / audioSampleRate;
}

}  // namespace

/// Hands one recording's sound to the engine, under the recording's number: what an older capture
/// still delivers is nobody's.
class DictationEngine::Tap final : public AudioInputSink {
public:
    Tap(DictationEngine& engine, std::uint64_t number) : engine_(engine), number_(number) {}
    void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
        engine_.samplesArrived(number_, samples);
    }
    void captureEnded(Ending why) noexcept override { engine_.captureEnded(number_, why); }

private:
    DictationEngine& engine_;
    std::uint64_t number_;
};

DictationEngine::DictationEngine(AudioInput& input, RecordingArchive& archive, Loop& loop)
    : archive_(archive),
      loop_(loop),
      capture_(input),
      recordingNumber_(std::make_shared<std::uint64_t>(1)) {}

DictationEngine::~DictationEngine() {
    {
        const std::scoped_lock lock(pcmLock_);
        if (spool_)
            spool_->abandon();
    }
    abort();
}

void DictationEngine::start(std::string recordingId, std::string language) {
    abort();
    recordingLanguage_ = std::move(language);
    isRecording_ = true;
    const auto number = *recordingNumber_;
    {
        const std::scoped_lock lock(pcmLock_);
        captureNumber_ = number;
    }
    // Capture first: whatever comes before it costs the user a first word.
    capture_.start(std::make_shared<Tap>(*this, number));
    auto spool = archive_.beginSpool(std::move(recordingId), recordingLanguage_);
    const std::scoped_lock lock(pcmLock_);
    if (!pcmData_.empty())
        spool->append(pcmData_);
    spool_ = std::move(spool);
}

void DictationEngine::setListener(Listener listener) {
    const std::scoped_lock lock(pcmLock_);
    if (listener && !pcmData_.empty())
        listener(pcmData_);
    listener_ = std::move(listener);
}

asio::awaitable<StoppedRecording> DictationEngine::stop() {
    co_await capture_.stop();
    co_await checkpoint();
    isRecording_ = false;
    ++*recordingNumber_;
    StoppedRecording stopped;
    stopped.language = recordingLanguage_;
    Listener dropped;  // its end is nobody's business under the lock
    const std::scoped_lock lock(pcmLock_);
    captureNumber_ = 0;
    stopped.pcm = std::make_shared<PcmSamples>(std::exchange(pcmData_, {}));
    stopped.hasVoice = std::exchange(voiceBefore_, false) || pauses_.verdict(recordingVoiceFloor);
    stopped.spool = std::move(spool_);
    pauses_.reset();
    dropped.swap(listener_);
    co_return stopped;
}

void DictationEngine::abort() {
    capture_.abort();
    isRecording_ = false;
    ++*recordingNumber_;
    Listener dropped;  // its end is nobody's business under the lock
    const std::scoped_lock lock(pcmLock_);
    captureNumber_ = 0;
    pcmData_.clear();
    pauses_.reset();
    voiceBefore_ = false;
    dropped.swap(listener_);
    spool_.reset();
}

void DictationEngine::beginSegments() {
    const std::scoped_lock lock(pcmLock_);
    voiceBefore_ = pauses_.verdict(recordingVoiceFloor);
    pauses_.reset();
}

std::optional<DictationEngine::Segment> DictationEngine::takeSegment(std::string nextRecordingId) {
    if (!isRecording_)
        return std::nullopt;
    const std::scoped_lock lock(pcmLock_);
    const double length = seconds(static_cast<std::int64_t>(pcmData_.size()));
    if (length < shortestSegment)
        return std::nullopt;
    const double pause = length >= longSegment ? pauseInLongSegment : pauseInSegment;
    const bool atPause = pauses_.hasVoice() && seconds(pauses_.silentFrames()) >= pause;
    if (length < longestSegment && !atPause)
        return std::nullopt;
    Segment segment;
    segment.pcm = std::make_shared<PcmSamples>(std::exchange(pcmData_, {}));
    segment.hasVoice = std::exchange(voiceBefore_, false) || pauses_.verdict(recordingVoiceFloor);
    segment.spool =
        std::exchange(spool_, archive_.beginSpool(std::move(nextRecordingId), recordingLanguage_));
    pauses_.cut();
    return segment;
}

bool DictationEngine::hasSamples() {
    const std::scoped_lock lock(pcmLock_);
    return !pcmData_.empty();
}

void DictationEngine::samplesArrived(std::uint64_t number, std::span<const std::int16_t> samples) {
    const float rms = rootMeanSquare(samples);
    {
        const std::scoped_lock lock(pcmLock_);
        if (number != captureNumber_)
            return;
        pcmData_.insert(pcmData_.end(), samples.begin(), samples.end());
        pauses_.feed(rms, static_cast<std::int64_t>(samples.size()));
        if (listener_)
            listener_(samples);
        if (spool_)
            spool_->append(samples);
    }
    loop_.enqueue([this, rms, number, current = std::weak_ptr(recordingNumber_)] {
        const auto now = current.lock();
        if (now && *now == number && callbacks_.onAudioLevel)
            callbacks_.onAudioLevel(rms);
    });
}

void DictationEngine::captureEnded(std::uint64_t number, AudioInputSink::Ending why) {
    loop_.enqueue([this, why, number, current = std::weak_ptr(recordingNumber_)] {
        const auto now = current.lock();
        if (now && *now == number && callbacks_.onEnded)
            callbacks_.onEnded(why);
    });
}

}  // namespace quillet
