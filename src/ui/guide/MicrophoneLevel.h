#pragma once

#include <QWidget>
#include <memory>
#include <optional>

#include "audio/AudioLevelProvider.h"
#include "base/async/Loop.h"
#include "platform/AudioInput.h"

namespace quillet {

/// Shows how loud the microphone hears, as long as this is seen. It listens then, and keeps
/// nothing.
class MicrophoneLevel : public QWidget {
public:
    MicrophoneLevel(Loop& loop, AudioInput& input, QWidget* parent = nullptr);
    ~MicrophoneLevel() override;

    /// Called when something is heard for the first time, and when nothing can be; with why.
    void onHeard(std::function<void()> heard) { heard_ = std::move(heard); }
    void onFailed(std::function<void(AudioInputSink::Ending why)> failed) {
        failed_ = std::move(failed);
    }

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    class Ear;

    void listen();
    void hear(float level);

    Loop& loop_;
    AudioInput& input_;
    AudioLevelProvider level_;
    bool hasHeard_ = false;
    std::function<void()> heard_;
    std::function<void(AudioInputSink::Ending)> failed_;
    std::unique_ptr<Ear> ear_;
    std::unique_ptr<AudioInput::Capture> capture_;  // goes before what it tells
};

}  // namespace quillet
