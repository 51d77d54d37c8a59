#include "ui/settings/PrivacyPage.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "ui/kit/Columns.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

constexpr int longestRetention = 36'500;  // days
constexpr int shownServices = 5;

enum Column { purposeColumn, hostColumn, decisionColumn, sinceColumn };

QString shownName(ConsentDecision decision) {
    switch (decision) {
        case ConsentDecision::notAsked:
            return label("Not asked");
        case ConsentDecision::allowed:
            return label("Allowed");
        case ConsentDecision::denied:
            return label("Denied");
    }
    return {};
}

}  // namespace

PrivacyPage::PrivacyPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(services), tasks_(services.loop) {
    addHistory();
    addConsent();
    addNeverSent();
}

void PrivacyPage::addHistory() {
    auto* form = addSection(label("History"));
    addSwitch(*form, "sessionLoggingEnabled", label("&Keep a history of dictations"),
              label("On this computer only. Without it there is no nightly review."));
    auto* days = new QSpinBox;
    days->setRange(1, longestRetention);
    days->setAccessibleName(label("Days that the history is kept"));
    form->addRow(label("&Delete after, in days:"), days);
    const auto keep = [this, days] {
        if (days->value() != record().sessionRetentionDays)
            change([days](QuilletSettings& all) { all.sessionRetentionDays = days->value(); });
    };
    connect(days, &QSpinBox::editingFinished, this, keep);
    whenLeft(keep);
    follow([this, days] {
        const QSignalBlocker quiet(days);
        days->setValue(record().sessionRetentionDays);
        days->setEnabled(record().sessionLoggingEnabled);
    });
    auto* all = new QPushButton(label("Delete &All History…"));
    auto* row = new QHBoxLayout;
    row->addWidget(all);
    row->addStretch();
    form->addRow(row);
    connect(all, &QPushButton::clicked, this, &PrivacyPage::askToDelete);
}

void PrivacyPage::askToDelete() {
    askFirst(this,
             {label("Delete the whole history?"),
              label("All dictations that were written down are deleted from this computer, with "
                    "their recordings and what the nightly review and the knowledge base took "
                    "from them. Your vocabulary and your meetings stay. This cannot be undone."),
              label("Delete")},
             [this] { tasks_.spawn(deleteHistory()); });
}

asio::awaitable<void> PrivacyPage::deleteHistory() {
    const auto outcome = co_await services_.eraseHistory();
    if (outcome == DictationDeletion::Outcome::done) {
        messages().showInfo(label("The history is deleted."));
        co_return;
    }
    if (outcome == DictationDeletion::Outcome::partly) {
        messages().showError(
            label("The history is deleted, but what the nightly review and the knowledge base took "
                  "from it could not be: see whether the disk is full, then try again."));
        co_return;
    }
    const auto problem = co_await services_.history.lastError();
    messages().showError(
        label("The history could not be deleted: {}", problem.value_or(std::string())));
}

void PrivacyPage::addConsent() {
    auto* column = addColumn(label("Services That May Be Sent Something"));
    decided_ = new QTreeWidget;
    decided_->setHeaderLabels(
        {label("What for"), label("Server"), label("Decision"), label("Since")});
    decided_->setRootIsDecorated(false);
    decided_->setAccessibleName(label("Services that were decided on"));
    decided_->setMinimumHeight(fontMetrics().lineSpacing() * shownServices * 2);
    decided_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    column->addWidget(decided_, 1);
    column->addWidget(
        newNote(label("Nothing is sent to a server before you have allowed it. A service that is "
                      "forgotten is asked for again when it is needed.")));
    allow_ = new QPushButton(label("A&llow"));
    deny_ = new QPushButton(label("D&eny"));
    forget_ = new QPushButton(label("&Forget"));
    auto* row = new QHBoxLayout;
    for (auto* button : {allow_, deny_, forget_})
        row->addWidget(button);
    row->addStretch();
    column->addLayout(row);
    connect(allow_, &QPushButton::clicked, this, [this] { decide(ConsentDecision::allowed); });
    connect(deny_, &QPushButton::clicked, this, [this] { decide(ConsentDecision::denied); });
    connect(forget_, &QPushButton::clicked, this, [this] { decide(ConsentDecision::notAsked); });
    connect(decided_, &QTreeWidget::itemSelectionChanged, this, &PrivacyPage::enableActions);
    on(consentChangedNotification, [this] { showConsent(); });
    follow([this] { showConsent(); });  // the command may have decided
}

void PrivacyPage::showConsent() {
    const auto* before = decided_->currentItem();
    const auto chosen = before == nullptr ? QVariant() : before->data(0, Qt::UserRole);
    decided_->clear();
    for (const auto& entry : services_.consent.decided()) {
        const auto description = descriptionOf(entry.service.purpose);
        auto* item = new QTreeWidgetItem(decided_);
        item->setText(purposeColumn, label(description.title));
        item->setText(hostColumn, fromText(entry.service.host));
        item->setText(decisionColumn, shownName(entry.decision));
        item->setText(sinceColumn, dayAndTimeText(entry.decidedAt, services_.calendar));
        item->setData(0, Qt::UserRole, fromText(entry.service.name()));
        item->setData(decisionColumn, Qt::UserRole, static_cast<int>(entry.decision));
        item->setToolTip(purposeColumn,
                         label(description.whatIsSent) + QLatin1Char(' ') + label(description.why));
        if (item->data(0, Qt::UserRole) == chosen)
            decided_->setCurrentItem(item);
    }
    for (const int column : {purposeColumn, hostColumn, decisionColumn})
        fitColumn(*decided_, column);
    enableActions();
}

void PrivacyPage::enableActions() {
    const auto items = decided_->selectedItems();
    const auto decision =
        items.isEmpty() ? -1 : items.front()->data(decisionColumn, Qt::UserRole).toInt();
    allow_->setEnabled(!items.isEmpty() && decision != static_cast<int>(ConsentDecision::allowed));
    deny_->setEnabled(!items.isEmpty() && decision != static_cast<int>(ConsentDecision::denied));
    forget_->setEnabled(!items.isEmpty());
}

void PrivacyPage::decide(ConsentDecision decision) {
    const auto items = decided_->selectedItems();
    if (items.isEmpty())
        return;
    const auto service = Consent::parse(toText(items.front()->data(0, Qt::UserRole).toString()));
    if (service && !services_.consent.decide(*service, decision))
        messages().showError(
            label("The decision could not be saved and holds until Quillet quits. Check that the "
                  "disk is not full."));
}

void PrivacyPage::addNeverSent() {
    auto* form = addSection(label("What Is Never Sent"));
    addNote(*form,
            label("What you type yourself, what is in password fields, pictures of the screen, and "
                  "anything of the applications that you excluded. Quillet gathers no statistics, "
                  "and keys go to the server that they were given for and to no other."));
}

}  // namespace quillet
