#include "ui/meetings/PlayBar.h"

#include <fmt/format.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr int step = 5;
constexpr int page = 60;

/// As the transcript writes it.
std::string timeText(int seconds) {
    const std::chrono::hh_mm_ss time{std::chrono::seconds(seconds)};
    const auto rest = fmt::format("{:02}:{:02}", time.minutes().count(), time.seconds().count());
    return time.hours().count() == 0 ? rest : fmt::format("{}:{}", time.hours().count(), rest);
}

}  // namespace

PlayBar::PlayBar(QWidget* parent)
    : QWidget(parent),
      button_(new QPushButton(label("&Play"))),
      slider_(new QSlider(Qt::Horizontal)),
      text_(new QLabel) {
    slider_->setAccessibleName(label("Position in the meeting"));
    slider_->setSingleStep(step);
    slider_->setPageStep(page);
    slider_->setTracking(false);
    button_->setAutoDefault(false);
    connect(button_, &QPushButton::clicked, this, [this] { playOrStop(); });
    connect(slider_, &QSlider::sliderMoved, this, [this] { showPosition(); });
    connect(slider_, &QSlider::valueChanged, this, [this] {
        showPosition();
        moved(position());
    });
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(button_);
    row->addWidget(slider_, 1);
    row->addWidget(text_);
}

void PlayBar::setLength(Position length) {
    const QSignalBlocker quiet(slider_);
    slider_->setMaximum(static_cast<int>(std::chrono::floor<std::chrono::seconds>(length).count()));
    showPosition();
}

void PlayBar::setPosition(Position position) {
    if (slider_->isSliderDown())
        return;
    const QSignalBlocker quiet(slider_);
    slider_->setValue(static_cast<int>(std::chrono::floor<std::chrono::seconds>(position).count()));
    showPosition();
}

void PlayBar::setPlaying(bool isPlaying) {
    button_->setText(isPlaying ? label("S&top") : label("&Play"));
}

PlayBar::Position PlayBar::position() const {
    return std::chrono::seconds(slider_->value());
}

void PlayBar::showPosition() {
    text_->setText(
        label("{} of {}", timeText(slider_->sliderPosition()), timeText(slider_->maximum())));
}

}  // namespace quillet
