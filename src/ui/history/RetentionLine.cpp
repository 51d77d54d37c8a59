#include "ui/history/RetentionLine.h"

#include <QHBoxLayout>
#include <QLabel>

#include "ui/kit/UiText.h"

namespace quillet {

RetentionLine::RetentionLine(AppSettings& settings, NotificationCenter& notifications,
                             std::function<void()> openSettings, QWidget* parent)
    : QWidget(parent), settings_(settings), text_(new QLabel) {
    text_->setWordWrap(true);
    auto* link = new QLabel(
        QStringLiteral("<a href=\"settings\">%1</a>").arg(label("Settings…").toHtmlEscaped()));
    link->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    link->setFocusPolicy(Qt::StrongFocus);
    connect(link, &QLabel::linkActivated, this, [open = std::move(openSettings)] { open(); });
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(text_, 1);
    layout->addWidget(link);
    settingsChanged_ =
        notifications.subscribe(std::string(settingsChangedNotification), [this] { fill(); });
    fill();
}

void RetentionLine::fill() {
    const auto& record = settings_.record();
    const auto kept = counted("Kept for {} day", "Kept for {} days", record.sessionRetentionDays);
    text_->setText(
        record.sessionLoggingEnabled
            ? kept
            : label("The history is off: what you dictate now is not kept. {}", toText(kept)));
}

}  // namespace quillet
