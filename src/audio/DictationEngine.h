#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audio/AudioCaptureSession.h"
#include "audio/PauseDetector.h"
#include "audio/RecordingArchive.h"
#include "platform/AudioInput.h"

namespace quillet {

class Loop;

using PcmSamples = std::vector<std::int16_t>;

/// What stopping the engine yields.
struct StoppedRecording {
    std::shared_ptr<const PcmSamples> pcm;  ///< 16 kHz mono
    std::string language;
    bool hasVoice = false;
    std::unique_ptr<RecordingArchive::Spool> spool;  ///< what is kept when all else fails

    [[nodiscard]] double seconds() const {
        return static_cast<double>(pcm->size()) / audioSampleRate;
    }
};

/// Records one dictation at a time: keeps its samples, meters the level, hears whether there is
/// voice, and cuts segments at pauses. All methods belong to the main queue's thread.
class DictationEngine {
public:
    struct Segment {
        std::shared_ptr<const PcmSamples> pcm;
        bool hasVoice = false;
        std::unique_ptr<RecordingArchive::Spool> spool;  ///< of these samples alone
    };
    struct Callbacks {
        std::function<void(float level)> onAudioLevel;        ///< main queue, once a buffer
        std::function<void(AudioInputSink::Ending)> onEnded;  ///< main queue: capture broke off
    };
    /// Takes the samples as they arrive, on the audio thread.
    using Listener = std::function<void(std::span<const std::int16_t>)>;

    DictationEngine(AudioInput& input, RecordingArchive& archive, Loop& loop);
    /// A recording that still runs is left on the disk, for the next start to offer.
    ~DictationEngine();
    DictationEngine(const DictationEngine&) = delete;
    DictationEngine& operator=(const DictationEngine&) = delete;

    void setCallbacks(Callbacks callbacks) { callbacks_ = std::move(callbacks); }

    /// Begins to record under this id. Returns at once.
    void start(std::string recordingId, std::string language);
    /// From now on `listener` gets the samples too, those recorded so far first.
    void setListener(Listener listener);
    /// Ends the recording; everything said until now is in it.
    [[nodiscard]] asio::awaitable<StoppedRecording> stop();
    /// Ends the recording and forgets it.
    void abort();
    [[nodiscard]] bool isRecording() const { return isRecording_; }
    /// Whether anything has been heard in the running recording.
    [[nodiscard]] bool hasSamples();

    /// From now on the recording is cut into segments: pauses count from here, and what was
    /// recorded before belongs to the first one.
    void beginSegments();
    /// A segment cut at a pause, when there is one; what follows is spooled under this id. Only
    /// while recording.
    [[nodiscard]] std::optional<Segment> takeSegment(std::string nextRecordingId);

private:
    class Tap;

    void samplesArrived(std::uint64_t number, std::span<const std::int16_t> samples);
    void captureEnded(std::uint64_t number, AudioInputSink::Ending why);

    RecordingArchive& archive_;
    Loop& loop_;
    AudioCaptureSession capture_;
    Callbacks callbacks_;
    std::string recordingLanguage_;
    bool isRecording_ = false;
    std::shared_ptr<std::uint64_t> recordingNumber_;  // callbacks of an older recording are dropped

    std::mutex pcmLock_;
    PcmSamples pcmData_;        // guarded by pcmLock_
    PauseDetector pauses_;      // guarded by pcmLock_
    bool voiceBefore_ = false;  // guarded by pcmLock_; in pcmData_, before pauses_ began anew
    Listener listener_;         // guarded by pcmLock_
    std::unique_ptr<RecordingArchive::Spool> spool_;  // guarded by pcmLock_
    std::uint64_t captureNumber_ = 0;                 // guarded by pcmLock_; 0: none is wanted
};

/// The lowest threshold for the voice of a whole recording or a segment.
inline constexpr float recordingVoiceFloor = 0.002F;

}  // namespace quillet
