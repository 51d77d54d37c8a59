#include "ui/guide/MicrophoneLevel.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr float loudest = 32'768;
/// The loudness of a quiet room and of somebody who speaks up, in decibels below the loudest.
constexpr float quietRoom = -55;
constexpr float loudVoice = -10;
/// What speech rises above and a quiet room does not.
constexpr float spoken = 0.35F;

float levelOf(std::span<const std::int16_t> samples) {
    double sum = 0;
    for (const auto sample : samples)
        sum += static_cast<double>(sample) * sample;
    const auto mean = samples.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(samples.size()));
    const auto loudness = 20 * std::log10(std::max(static_cast<float>(mean) / loudest, 1e-6F));
    return std::clamp((loudness - quietRoom) / (loudVoice - quietRoom), 0.0F, 1.0F);
}

}  // namespace

/// What the audio thread tells. It posts to the main queue, and only while somebody looks.
class MicrophoneLevel::Ear final : public AudioInputSink {
public:
    explicit Ear(MicrophoneLevel& shown) : loop_(shown.loop_), shown_(&shown, [](auto*) {}) {}

    void samplesArrived(std::span<const std::int16_t> samples) noexcept override {
        loop_.enqueue([weak = std::weak_ptr(shown_), level = levelOf(samples)] {
            if (const auto shown = weak.lock())
                shown->hear(level);
        });
    }
    void captureEnded(Ending why) noexcept override {
        loop_.enqueue([weak = std::weak_ptr(shown_), why] {
            const auto shown = weak.lock();
            if (shown && shown->failed_)
                shown->failed_(why);
        });
    }

private:
    Loop& loop_;
    std::shared_ptr<MicrophoneLevel> shown_;  // owns nothing; it tells whether this is still there
};

MicrophoneLevel::MicrophoneLevel(Loop& loop, AudioInput& input, QWidget* parent)
    : QWidget(parent), loop_(loop), input_(input) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(label("Level of the microphone"));
}

MicrophoneLevel::~MicrophoneLevel() = default;

QSize MicrophoneLevel::sizeHint() const {
    return {20 * fontMetrics().averageCharWidth(), fontMetrics().height()};
}

void MicrophoneLevel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    listen();
}

void MicrophoneLevel::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    capture_.reset();
    ear_.reset();
    level_.reset();
}

void MicrophoneLevel::listen() {
    capture_.reset();
    ear_ = std::make_unique<Ear>(*this);
    capture_ = input_.start(*ear_);
}

void MicrophoneLevel::hear(float level) {
    level_.update(level);
    update();
    if (level_.smoothedLevel() > spoken && !std::exchange(hasHeard_, true) && heard_)
        heard_();
}

void MicrophoneLevel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    constexpr qreal halfALine = 0.5;
    const auto track = QRectF(rect()).adjusted(halfALine, halfALine, -halfALine, -halfALine);
    const auto radius = track.height() / 2;
    painter.setPen(palette().color(QPalette::Mid));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(track, radius, radius);
    QRectF filled = track;
    filled.setWidth(filled.width() * static_cast<qreal>(level_.smoothedLevel()));
    painter.setClipRect(filled);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Highlight));
    painter.drawRoundedRect(track, radius, radius);
}

}  // namespace quillet
