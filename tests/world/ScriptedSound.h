#pragma once

#include <algorithm>
#include <optional>

#include "base/async/Loop.h"
#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"
#include "world/SimLoop.h"

namespace quillet::world {

/// A microphone that hears what the story says.
class ScriptedMicrophone final : public AudioInput {
public:
    explicit ScriptedMicrophone(SimScheduler& scheduler) : scheduler_(scheduler) {}

    std::unique_ptr<Capture> start(AudioInputSink& sink) override {
        ++starts;
        sink_ = &sink;
        if (failure)
            sink.captureEnded(*failure);
        return std::make_unique<ScriptedCapture>(*this, sink);
    }
    asio::awaitable<std::vector<std::string>> devices() override {
        if (failure)
            co_return std::vector<std::string>();
        co_return std::vector<std::string>(1, "Scripted microphone");
    }
    asio::awaitable<std::vector<std::string>> otherUsers() override { co_return otherApplications; }

    /// What the sound server hears now; it hands it on when `delay` has passed.
    void hear(std::span<const std::int16_t> samples) {
        if (sink_ == nullptr || failure)
            return;
        atServer_.insert(atServer_.end(), samples.begin(), samples.end());
        if (atServer_.size() <= heldBack)
            return;
        const auto ready = atServer_.size() - heldBack;
        sink_->samplesArrived(std::span(atServer_).first(ready));
        atServer_.erase(atServer_.begin(), atServer_.begin() + static_cast<std::ptrdiff_t>(ready));
    }
    void unplug() {
        failure = AudioInputSink::Ending::deviceLost;
        if (sink_ != nullptr)
            sink_->captureEnded(*failure);
    }
    [[nodiscard]] bool capturing() const { return sink_ != nullptr; }

    std::optional<AudioInputSink::Ending> failure;
    std::vector<std::string> otherApplications;
    std::size_t heldBack = 0;  ///< samples that the server keeps until more come, or the stop
    int starts = 0;

private:
    class ScriptedCapture final : public Capture {
    public:
        ScriptedCapture(ScriptedMicrophone& microphone, AudioInputSink& sink)
            : microphone_(microphone), sink_(&sink) {}
        ~ScriptedCapture() override { microphone_.forget(sink_); }
        asio::awaitable<void> stop() override {
            co_await microphone_.scheduler_.sleep(std::chrono::milliseconds(5));
            microphone_.handOver(sink_);
        }

    private:
        ScriptedMicrophone& microphone_;
        AudioInputSink* sink_;
    };

    void handOver(AudioInputSink* sink) {
        if (sink_ == sink && !atServer_.empty())
            sink_->samplesArrived(atServer_);
        forget(sink);
    }
    /// A later capture has nothing to do with the end of an earlier one.
    void forget(const AudioInputSink* sink) {
        if (sink_ != sink)
            return;
        atServer_.clear();
        sink_ = nullptr;
    }

    SimScheduler& scheduler_;
    AudioInputSink* sink_ = nullptr;
    std::vector<std::int16_t> atServer_;
};

/// Loudspeakers with a mute switch.
class ScriptedOutput final : public AudioOutput {
public:
    explicit ScriptedOutput(SimScheduler& scheduler) : scheduler_(scheduler) {}

    asio::awaitable<std::expected<State, Error>> state() override {
        co_await scheduler_.sleep(delay);
        if (absent)
            co_return std::unexpected(Error::unavailable);
        co_return State{"speakers", muted};
    }
    asio::awaitable<std::expected<void, Error>> setMuted(std::string, bool on) override {
        co_await scheduler_.sleep(delay);
        if (absent)
            co_return std::unexpected(Error::unavailable);
        muted = on;
        co_return std::expected<void, Error>();
    }

    bool muted = false;
    bool absent = false;
    std::chrono::milliseconds delay{1};

private:
    SimScheduler& scheduler_;
};

}  // namespace quillet::world
