#include "ui/kit/MessageBar.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QToolButton>
#include <algorithm>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr int shortestReadingMs = 4'000;
constexpr int readingMsPerLetter = 70;

}  // namespace

MessageBar::MessageBar(QWidget* parent)
    : QFrame(parent), text_(new QLabel), action_(new QPushButton), ending_(new QTimer(this)) {
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    text_->setWordWrap(true);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* close = new QToolButton;
    close->setAutoRaise(true);
    close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    close->setAccessibleName(label("Close this message"));
    close->setToolTip(close->accessibleName());
    auto* row = new QHBoxLayout(this);
    row->addWidget(text_, 1);
    row->addWidget(action_);
    row->addWidget(close);
    ending_->setSingleShot(true);
    connect(ending_, &QTimer::timeout, this, &MessageBar::clear);
    connect(close, &QToolButton::clicked, this, &MessageBar::clear);
    connect(action_, &QPushButton::clicked, this, [this] {
        const auto act = std::exchange(act_, nullptr);
        clear();
        if (act)
            act();
    });
    hide();
}

void MessageBar::showError(const QString& sentence) {
    action_->hide();
    present(sentence, true);
}

void MessageBar::showInfo(const QString& sentence) {
    action_->hide();
    present(sentence, false);
    ending_->start(
        std::max(shortestReadingMs, readingMsPerLetter * static_cast<int>(sentence.size())));
}

void MessageBar::showInfo(const QString& sentence, const QString& action,
                          std::function<void()> act) {
    action_->setText(action);
    action_->show();
    present(sentence, false);
    act_ = std::move(act);
}

void MessageBar::showInfo(const QString& sentence, const QString& action, std::function<void()> act,
                          std::chrono::milliseconds time) {
    showInfo(sentence, action, std::move(act));
    ending_->start(time);
}

void MessageBar::clear() {
    ending_->stop();
    act_ = nullptr;
    hide();
}

void MessageBar::present(const QString& sentence, bool isError) {
    ending_->stop();
    act_ = nullptr;
    text_->setText(sentence);
    text_->setAccessibleName(sentence);
    // The colours of tool tips are the desktop's own for what stands out, light and dark.
    setBackgroundRole(QPalette::ToolTipBase);
    text_->setForegroundRole(QPalette::ToolTipText);
    auto font = text_->font();
    font.setBold(isError);
    text_->setFont(font);
    show();
    QAccessibleEvent event(text_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

}  // namespace quillet
