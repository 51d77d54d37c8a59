#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "audio/RecordingArchive.h"
#include "base/async/TaskScope.h"
#include "platform/AudioPlayer.h"

namespace quillet {

/// Plays archived recordings, one at a time. Belongs to the main queue's thread.
class RecordingPlayer {
public:
    struct Services {
        Loop& loop;
        RecordingArchive& archive;
        AudioPlayer& player;
    };
    struct Listener {
        std::function<void()> changed;  ///< another recording is played, or none any more
        std::function<void(std::chrono::milliseconds position, std::chrono::milliseconds length)>
            moved;
        std::function<void(const QString& sentence)> failed;
    };

    RecordingPlayer(Services services, Listener listener);

    void play(std::string id);
    void stop();
    /// The recording that is played, or about to be.
    [[nodiscard]] const std::optional<std::string>& playing() const { return playing_; }

private:
    asio::awaitable<void> start(std::string id);
    void ended(std::optional<AudioPlayer::Error> error);

    Services services_;
    Listener listener_;
    std::optional<std::string> playing_;
    std::unique_ptr<AudioPlayer::Playback> playback_;
    TaskHandle starting_;
    TaskScope tasks_;
};

}  // namespace quillet
