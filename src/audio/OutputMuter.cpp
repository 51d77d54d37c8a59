#include "audio/OutputMuter.h"

#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"

namespace quillet {

namespace {

constexpr const char* devicesKey = "devices";

}  // namespace

OutputMuter::OutputMuter(AudioOutput& output, std::filesystem::path marker, Loop& loop, Log log)
    : output_(output), marker_(std::move(marker)), log_(std::move(log)), tasks_(loop) {
    settled_.set();
}

void OutputMuter::mute() {
    asked_ = true;
    want(!held_);
}

void OutputMuter::restore() {
    asked_ = false;
    want(false);
}

void OutputMuter::hold(bool held) {
    held_ = held;
    want(asked_ && !held_);
}

void OutputMuter::recover() {
    const auto record = readJsonFile(marker_);
    if (!record || !record->is_object() || !record->contains(devicesKey))
        return;
    for (const auto& device : (*record)[devicesKey]) {
        if (device.is_string())
            mutedDevices_.push_back(device.get<std::string>());
    }
    if (!mutedDevices_.empty())
        log_.info("Unmuting {}, which an earlier run left muted", mutedDevices_.front());
    want(false);
}

asio::awaitable<void> OutputMuter::settled() {
    co_await settled_.wait();
}

void OutputMuter::want(bool muted) {
    wanted_ = muted;
    if (pursuing_ || (!wanted_ && mutedDevices_.empty()))
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
    const auto state = co_await output_.state();
    if (!state || state->muted)
        co_return;
    // The marker comes first: a crash between the two leaves a marker and nothing to undo.
    mutedDevices_.push_back(state->device);
    if (!writeMarker()) {
        log_.error("System audio is left on: {} cannot be written", marker_.string());
        mutedDevices_.pop_back();
        co_return;
    }
    if (!co_await output_.setMuted(state->device, true))
        log_.error("System audio could not be muted");
}

asio::awaitable<void> OutputMuter::restoreNow() {
    std::vector<std::string> unreachable;
    for (const auto& device : std::exchange(mutedDevices_, {})) {
        // An output that is gone for the moment comes back muted: it is tried again every time.
        if (!co_await output_.setMuted(device, false))
            unreachable.push_back(device);
    }
    if (!unreachable.empty())
        log_.error("System audio could not be unmuted: {} is gone", unreachable.front());
    for (auto& device : unreachable) {
        if (std::ranges::find(mutedDevices_, device) == mutedDevices_.end())
            mutedDevices_.push_back(std::move(device));
    }
    if (!writeMarker())
        log_.error("{} cannot be written", marker_.string());
}

bool OutputMuter::writeMarker() const {
    if (!mutedDevices_.empty())
        return writeJsonFile(marker_, {{devicesKey, mutedDevices_}}).has_value();
    std::error_code ec;
    std::filesystem::remove(marker_, ec);
    return !ec;
}

}  // namespace quillet
