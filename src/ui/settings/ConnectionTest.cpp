#include "ui/settings/ConnectionTest.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "ui/kit/UiText.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

ConnectionTest::ConnectionTest(Loop& loop, Test test)
    : test_(std::move(test)),
      button_(new QPushButton(label("&Test Connection"))),
      outcome_(new QLabel),
      tasks_(loop) {
    outcome_->setWordWrap(true);
    outcome_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins({});
    row->addWidget(button_, 0, Qt::AlignTop);
    row->addWidget(outcome_, 1);
    connect(button_, &QPushButton::clicked, this, &ConnectionTest::press);
}

void ConnectionTest::press() {
    if (running_.running()) {
        running_.cancel();
        button_->setText(label("&Test Connection"));
        show(label("Cancelled."), false);
        return;
    }
    button_->setText(label("Cancel"));
    show(label("Testing…"), false);
    running_ = tasks_.spawn(run());
}

void ConnectionTest::show(const QString& sentence, bool isBad) {
    auto font = outcome_->font();
    font.setBold(isBad);
    outcome_->setFont(font);
    showSentence(*outcome_, sentence, outcome_->width());
    outcome_->setAccessibleName(sentence);
    QAccessibleEvent event(outcome_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

asio::awaitable<void> ConnectionTest::run() {
    const auto report = co_await test_();
    button_->setText(label("&Test Connection"));
    show(label(report.sentence), !report.reachable);
}

}  // namespace quillet
