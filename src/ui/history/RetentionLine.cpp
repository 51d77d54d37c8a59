#include "ui/history/RetentionLine.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "ui/kit/UiText.h"

namespace quillet {

RetentionLine::RetentionLine(AppSettings& settings, NotificationCenter& notifications,
                             std::function<void()> openSettings, QWidget* parent)
    : QWidget(parent), settings_(settings), text_(new QLabel) {
    text_->setWordWrap(true);
    auto* settingsButton = new QPushButton(label("Settings…"));
    settingsButton->setAutoDefault(false);
    connect(settingsButton, &QPushButton::clicked, this,
            [open = std::move(openSettings)] { open(); });
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(text_, 1);
    layout->addWidget(settingsButton);
    settingsChanged_ =
        notifications.subscribe(std::string(settingsChangedNotification), [this] { fill(); });
    fill();
}

void RetentionLine::fill() {
    const auto& record = settings_.record();
    const auto days = record.sessionRetentionDays;
    text_->setText(record.sessionLoggingEnabled
                       ? counted("Kept for {} day", "Kept for {} days", days)
                       : label("The history is off: what you dictate now is not kept. What is "
                               "there is deleted after {} days.",
                               days));
}

}  // namespace quillet
