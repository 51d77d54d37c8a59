#pragma once

#include <QString>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "meetings/MeetingArchive.h"
#include "platform/AudioPlayer.h"

namespace quillet {

/// Plays the audio of meetings, both sides in one. A meeting takes hours and gigabytes, so only a
/// stretch of it is in memory and the next one is read while it is heard. Belongs to the main
/// queue's thread.
class MeetingPlayer {
public:
    using Position = std::chrono::milliseconds;
    static constexpr std::chrono::minutes stretch{2};

    struct Services {
        Loop& loop;
        MeetingArchive& archive;
        AudioPlayer& player;
        SerialQueue& worker;  ///< where samples are mixed
    };
    struct Listener {
        std::function<void()> changed;  ///< it plays, or does so no more
        std::function<void(Position position)> moved;
        std::function<void(const QString& sentence)> failed;
    };

    MeetingPlayer(Services services, Listener listener);

    /// Plays a meeting of this length from a position on; what was played ends.
    void play(std::string id, Position from, Position length);
    void stop();
    [[nodiscard]] bool isPlaying() const { return isPlaying_; }

private:
    using Sound = std::optional<AudioPlayer::Sound>;
    asio::awaitable<void> run(std::string id, Position from, Position length);
    asio::awaitable<Sound> load(std::string id, Position from, Position to);
    void begin(AudioPlayer::Sound sound, Position from);

    Services services_;
    Listener listener_;
    bool isPlaying_ = false;
    std::unique_ptr<AudioPlayer::Playback> playback_;
    std::optional<AudioPlayer::Error> error_;
    Event ended_;  // the stretch that is heard
    TaskHandle running_;
    TaskScope tasks_;
};

}  // namespace quillet
