#pragma once

#include <asio/awaitable.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/AudioOutput.h"

namespace quillet {

/// Mutes the loudspeakers for a recording and restores exactly what was there before. A marker
/// file outlives a crash, so the next start can undo what this one could not.
///
/// `mute` and `restore` only say what is wanted; the last word counts, however slow the sound
/// server is. Belongs to the main queue's thread.
class OutputMuter {
public:
    OutputMuter(AudioOutput& output, std::filesystem::path marker, Loop& loop, Log log);

    /// Mutes the output in use, unless it is muted already.
    void mute();
    /// Unmutes what `mute` muted.
    void restore();
    /// While held, nothing is muted: what is muted cannot be heard by a meeting either.
    void hold(bool held);
    /// Undoes the muting of a run that did not end well.
    void recover();
    /// Waits until what was wanted last has been done.
    [[nodiscard]] asio::awaitable<void> settled();

private:
    void want(bool muted);
    asio::awaitable<void> pursue();
    asio::awaitable<void> muteNow();
    asio::awaitable<void> restoreNow();
    [[nodiscard]] bool writeMarker() const;

    AudioOutput& output_;
    std::filesystem::path marker_;
    Log log_;
    bool asked_ = false;
    bool held_ = false;
    bool wanted_ = false;  // asked, and not held
    bool pursuing_ = false;
    std::vector<std::string> mutedDevices_;  // outputs whose switch is ours to undo
    Event settled_;
    TaskScope tasks_;  // last, so that it ends before what it uses
};

}  // namespace quillet
