#include "meetings/PieceCutter.h"

#include <algorithm>

#include "audio/DictationEngine.h"
#include "audio/Wav.h"

namespace quillet {

std::optional<MeetingPiece> PieceCutter::feed(std::span<const std::int16_t> user,
                                              std::span<const std::int16_t> far) {
    const auto frames = static_cast<std::int64_t>(user.size());
    user_.feed(rootMeanSquare(user), frames);
    far_.feed(rootMeanSquare(far), frames);
    position_ += frames;
    const auto length = position_ - from_;
    const bool pause = user_.silentFrames() >= pauseFrames && far_.silentFrames() >= pauseFrames;
    if (length >= longestPiece || (length >= shortestPiece && pause))
        return cut();
    return std::nullopt;
}

std::optional<MeetingPiece> PieceCutter::finish() {
    if (position_ == from_)
        return std::nullopt;
    return cut();
}

bool PieceCutter::hasVoice(const PauseDetector& side) {
    return side.hasVoice() || side.verdict(recordingVoiceFloor);
}

MeetingPiece PieceCutter::cut() {
    const MeetingPiece piece{from_, position_, hasVoice(user_) || hasVoice(far_)};
    user_.cut();
    far_.cut();
    from_ = position_;
    return piece;
}

}  // namespace quillet
