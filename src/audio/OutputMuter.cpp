#include "audio/OutputMuter.h"

#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"

namespace quillet {

OutputMuter::OutputMuter(AudioOutput& output, std::filesystem::path marker, Loop& loop, Log log)
    : output_(output), marker_(std::move(marker)), log_(std::move(log)), tasks_(loop) {
    settled_.set();
}

void OutputMuter::mute() {
    want(true);
}

void OutputMuter::restore() {
    want(false);
}

void OutputMuter::recover() {
    const auto record = readJsonFile(marker_);
    if (!record)
        return;
    if (record->is_object() && record->contains("device") && (*record)["device"].is_string()) {
        mutedDevice_ = (*record)["device"].get<std::string>();
        log_.info("Unmuting {}, which an earlier run left muted", *mutedDevice_);
    }
    want(false);
}

asio::awaitable<void> OutputMuter::settled() {
    co_await settled_.wait();
}

void OutputMuter::want(bool muted) {
    wanted_ = muted;
    if (pursuing_ || wanted_ == mutedDevice_.has_value())
        return;
    pursuing_ = true;
    settled_.reset();
    tasks_.spawn(pursue());
}

asio::awaitable<void> OutputMuter::pursue() {
    bool reached = false;
    while (!reached) {
        const bool goal = wanted_;
        if (goal)
            co_await muteNow();
        else
            co_await restoreNow();
        reached = goal == wanted_;
    }
    pursuing_ = false;
    settled_.set();
}

asio::awaitable<void> OutputMuter::muteNow() {
    if (mutedDevice_)
        co_return;
    const auto state = co_await output_.state();
    if (!state || state->muted)
        co_return;
    // The marker comes first: a crash between the two leaves a marker and nothing to undo.
    const nlohmann::json record = {{"device", state->device}};
    if (!writeJsonFile(marker_, record)) {
        log_.error("System audio is left on: {} cannot be written", marker_.string());
        co_return;
    }
    mutedDevice_ = state->device;
    if (!co_await output_.setMuted(*mutedDevice_, true))
        log_.error("System audio could not be muted");
}

asio::awaitable<void> OutputMuter::restoreNow() {
    if (!mutedDevice_)
        co_return;
    if (!co_await output_.setMuted(*mutedDevice_, false))
        log_.error("System audio could not be unmuted: {} is gone", *mutedDevice_);
    mutedDevice_.reset();
    std::error_code ec;
    std::filesystem::remove(marker_, ec);
}

}  // namespace quillet
