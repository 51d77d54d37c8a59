#include "ui/settings/AppsPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "ui/kit/Columns.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/settings/SendKeyChoice.h"

namespace quillet {

namespace {

constexpr int knownSessions = 500;
constexpr int shownProfiles = 6;
constexpr int shownExcluded = 3;
constexpr int letters = 40;
constexpr double delayStep = 0.5;
constexpr double globalDelay = -delayStep;  // below all others, so that it has a text of its own

/// Those that are built in are called as on the system that they were first made for.
constexpr std::string_view foreignIds = "com.apple.";

/// What people call those that are excluded from the start, where they are not installed.
struct ExcludedName {
    std::string_view id;
    const char* name;
};
constexpr ExcludedName excludedNames[] = {{"com.agilebits.onepassword", "1Password"},
                                          {"com.agilebits.onepassword7", "1Password"},
                                          {"com.bitwarden.desktop", "Bitwarden"},
                                          {"com.lastpass.LastPass", "LastPass"}};

std::string excludedName(const std::string& id) {
    const auto* known = std::ranges::find(excludedNames, id, &ExcludedName::id);
    return known == std::end(excludedNames) ? id : known->name;
}

enum Column { nameColumn, keyColumn, sendsColumn, delayColumn };

QString shownDelay(const AppProfile& profile) {
    return profile.autoSendDelay ? label("{} s", *profile.autoSendDelay) : label("As in Writing");
}

}  // namespace

AppsPage::AppsPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(services), tasks_(services.loop) {
    addProfiles();
    addExcluded();
    follow([this] {
        showProfiles();
        showExcluded();
    });
    tasks_.spawn(gatherApplications());
}

void AppsPage::addProfiles() {
    auto* column = addColumn(label("Sending, by Application"), Height::whatThereIs);
    profiles_ = new QTreeWidget;
    profiles_->setHeaderLabels(
        {label("Application"), label("Send key"), label("Sends by itself"), label("After")});
    profiles_->setRootIsDecorated(false);
    profiles_->setUniformRowHeights(true);
    profiles_->setAccessibleName(label("Applications"));
    profiles_->setMinimumHeight(fontMetrics().lineSpacing() * shownProfiles * 2);
    column->addWidget(profiles_, 1);
    addProfileForm(*column);
    auto* add = new QPushButton(label("&Add…"));
    delete_ = new QPushButton(label("&Delete"));
    auto* reset = new QPushButton(label("Reset to Defaults"));
    auto* row = new QHBoxLayout;
    row->addWidget(add);
    row->addWidget(delete_);
    row->addStretch();
    row->addWidget(reset);
    column->addLayout(row);
    connect(profiles_, &QTreeWidget::itemSelectionChanged, this, &AppsPage::showProfile);
    connect(delete_, &QPushButton::clicked, this, &AppsPage::deleteProfile);
    connect(reset, &QPushButton::clicked, this, &AppsPage::resetProfiles);
    connect(add, &QPushButton::clicked, this, [this] {
        chooseApplication(label("Add an Application"), [this](const AppProfile& application) {
            if (!services_.profiles.profile(application.bundleID))
                tell(services_.profiles.set(application));
            showProfiles();
            for (int i = 0; i < profiles_->topLevelItemCount(); ++i) {
                auto* item = profiles_->topLevelItem(i);
                if (item->data(0, Qt::UserRole)
                        .toStringList()
                        .contains(fromText(application.bundleID)))
                    profiles_->setCurrentItem(item);
            }
        });
    });
}

void AppsPage::addProfileForm(QVBoxLayout& column) {
    form_ = new QWidget;
    auto* row = new QHBoxLayout(form_);
    row->setContentsMargins({});
    sendKey_ = new QComboBox;
    for (const auto key : {SendKeyType::enter, SendKeyType::cmdEnter})
        sendKey_->addItem(shownName(key), static_cast<int>(key));
    autoSend_ = new QCheckBox(label("Send &by itself"));
    delay_ = new QDoubleSpinBox;
    delay_->setRange(globalDelay, longestSendDelay);
    delay_->setSingleStep(delayStep);
    delay_->setDecimals(1);
    delay_->setSpecialValueText(label("As in Writing"));
    auto* keyName = new QLabel(label("Send &key:"));
    keyName->setBuddy(sendKey_);
    auto* delayName = new QLabel(label("A&fter, in seconds:"));
    delayName->setBuddy(delay_);
    row->addWidget(keyName);
    row->addWidget(sendKey_);
    row->addWidget(autoSend_);
    row->addWidget(delayName);
    row->addWidget(delay_);
    row->addStretch();
    column.addWidget(form_);
    connect(sendKey_, &QComboBox::activated, this, &AppsPage::saveProfile);
    connect(autoSend_, &QCheckBox::toggled, this, &AppsPage::saveProfile);
    connect(delay_, &QDoubleSpinBox::editingFinished, this, &AppsPage::saveProfile);
    whenLeft([this] { saveProfile(); });
}

/// The profiles behind a line: an application may have several ids.
std::vector<AppProfile> AppsPage::selected() const {
    std::vector<AppProfile> chosen;
    const auto items = profiles_->selectedItems();
    if (items.isEmpty())
        return chosen;
    for (const auto& id : items.front()->data(0, Qt::UserRole).toStringList()) {
        if (auto profile = services_.profiles.profile(toText(id)))
            chosen.push_back(std::move(*profile));
    }
    return chosen;
}

std::string AppsPage::nameOf(const std::string& id, const std::string& otherwise) const {
    for (const auto* names : {&installed_, &applications_}) {
        if (const auto found = names->find(id); found != names->end())
            return found->second;
    }
    return otherwise;
}

/// Not one of another system's, with nothing here that it stands for.
bool AppsPage::isOfHere(const std::string& id) const {
    return !id.starts_with(foreignIds) || installed_.contains(id) || applications_.contains(id);
}

void AppsPage::showProfiles() {
    const auto before = profiles_->selectedItems();
    const auto chosen = before.isEmpty() ? QString() : before.front()->text(nameColumn);
    std::map<std::string, std::vector<AppProfile>> byName;
    for (auto& profile : services_.profiles.all()) {
        if (isOfHere(profile.bundleID))
            byName[nameOf(profile.bundleID, profile.displayName)].push_back(std::move(profile));
    }
    {
        const QSignalBlocker quiet(profiles_);
        profiles_->clear();
        for (const auto& [name, profiles] : byName)
            addLine(name, profiles);
        profiles_->sortItems(nameColumn, Qt::AscendingOrder);
        for (auto* item : profiles_->findItems(chosen, Qt::MatchExactly, nameColumn))
            profiles_->setCurrentItem(item);
    }
    for (const int column : {nameColumn, keyColumn, sendsColumn})
        fitColumn(*profiles_, column);
    showProfile();
}

void AppsPage::addLine(const std::string& name, const std::vector<AppProfile>& profiles) {
    QStringList ids;
    for (const auto& profile : profiles)
        ids << fromText(profile.bundleID);
    const auto& first = profiles.front();
    auto* item = new QTreeWidgetItem(profiles_);
    item->setText(nameColumn, fromText(name));
    item->setToolTip(nameColumn, ids.join(QLatin1Char('\n')));
    item->setText(keyColumn, shownName(first.sendKey));
    item->setText(sendsColumn, first.autoSend ? label("Yes") : label("No"));
    item->setText(delayColumn, shownDelay(first));
    item->setData(0, Qt::UserRole, ids);
}

void AppsPage::showProfile() {
    const auto profiles = selected();
    form_->setEnabled(!profiles.empty());
    delete_->setEnabled(!profiles.empty());
    const auto shown = profiles.empty() ? AppProfile() : profiles.front();
    const QSignalBlocker quietKey(sendKey_);
    const QSignalBlocker quietBox(autoSend_);
    const QSignalBlocker quietDelay(delay_);
    sendKey_->setCurrentIndex(sendKey_->findData(static_cast<int>(shown.sendKey)));
    autoSend_->setChecked(shown.autoSend);
    delay_->setValue(shown.autoSendDelay.value_or(globalDelay));
}

/// Only what was changed here: profiles of one name may differ in the rest.
void AppsPage::saveProfile() {
    auto profiles = selected();
    if (profiles.empty())
        return;
    const auto shown = profiles.front();
    const auto key = static_cast<SendKeyType>(sendKey_->currentData().toInt());
    const auto delay = delay_->value() < 0 ? std::nullopt : std::optional(delay_->value());
    const bool isSentByItself = autoSend_->isChecked();
    if (key == shown.sendKey && delay == shown.autoSendDelay && isSentByItself == shown.autoSend)
        return;
    for (auto& profile : profiles) {
        if (key != shown.sendKey)
            profile.sendKey = key;
        if (delay != shown.autoSendDelay)
            profile.autoSendDelay = delay;
        if (isSentByItself != shown.autoSend)
            profile.autoSend = isSentByItself;
        tell(services_.profiles.set(std::move(profile)));
    }
    showProfiles();
}

void AppsPage::deleteProfile() {
    const auto profiles = selected();
    if (profiles.empty())
        return;
    const auto& first = profiles.front();
    askFirst(this,
             {label("Delete profile for {}?", nameOf(first.bundleID, first.displayName)),
              label("Messages there are then sent as Writing says."), label("Delete")},
             [this, profiles] {
                 for (const auto& profile : profiles)
                     tell(services_.profiles.remove(profile.bundleID));
                 showProfiles();
             });
}

void AppsPage::resetProfiles() {
    askFirst(this,
             {label("Reset all per-app profiles to defaults?"),
              label("What you changed and added is lost. This cannot be undone."),
              label("Reset to Defaults")},
             [this] {
                 tell(services_.profiles.resetToDefaults());
                 showProfiles();
             });
}

void AppsPage::tell(const std::expected<void, std::string>& done) {
    if (!done)
        messages().showError(label(done.error()));
}

void AppsPage::addExcluded() {
    auto* column = addColumn(label("Excluded Applications"));
    column->addWidget(newNote(
        label("Nothing is dictated into them, read from them, or kept of them in the history.")));
    excluded_ = new QListWidget;
    excluded_->setAccessibleName(label("Excluded applications"));
    excluded_->setMinimumHeight(fontMetrics().lineSpacing() * shownExcluded * 2);
    excluded_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    column->addWidget(excluded_);
    auto* add = new QPushButton(label("E&xclude…"));
    auto* remove = new QPushButton(label("A&llow Again"));
    auto* row = new QHBoxLayout;
    row->addWidget(add);
    row->addWidget(remove);
    row->addStretch();
    column->addLayout(row);
    remove->setEnabled(false);
    connect(excluded_, &QListWidget::itemSelectionChanged, this,
            [this, remove] { remove->setEnabled(!excluded_->selectedItems().isEmpty()); });
    connect(remove, &QPushButton::clicked, this, &AppsPage::allowAgain);
    connect(add, &QPushButton::clicked, this, [this] {
        chooseApplication(label("Exclude an Application"), [this](const AppProfile& application) {
            exclude({fromText(application.bundleID)});
        });
    });
}

void AppsPage::showExcluded() {
    excluded_->clear();
    std::map<std::string, QStringList> byName;
    for (const auto& id : record().sessionBlacklist) {
        if (isOfHere(id))
            byName[nameOf(id, excludedName(id))] << fromText(id);
    }
    for (const auto& [name, ids] : byName) {
        auto* item = new QListWidgetItem(fromText(name), excluded_);
        item->setToolTip(ids.join(QLatin1Char('\n')));
        item->setData(Qt::UserRole, ids);
    }
}

void AppsPage::exclude(const QStringList& ids) {
    change([&ids](QuilletSettings& all) {
        auto& excluded = all.sessionBlacklist;
        for (const auto& id : ids) {
            if (std::ranges::find(excluded, toText(id)) == excluded.end())
                excluded.push_back(toText(id));
        }
    });
}

void AppsPage::allowAgain() {
    const auto items = excluded_->selectedItems();
    if (items.isEmpty())
        return;
    const auto ids = items.front()->data(Qt::UserRole).toStringList();
    const auto name = toText(items.front()->text());
    const auto allow = [&ids](QuilletSettings& all) {
        for (const auto& id : ids)
            std::erase(all.sessionBlacklist, toText(id));
    };
    if (!change(allow))
        return;
    messages().showInfo(label("{} is no longer excluded.", name), label("Undo"),
                        [this, ids] { exclude(ids); });
}

void AppsPage::chooseApplication(const QString& title, Chosen chosen) {
    auto* dialog = new QDialog(window());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(title);
    auto* id = new QComboBox;
    id->setEditable(true);
    id->setMinimumWidth(fontMetrics().averageCharWidth() * letters);
    for (const auto& [bundleID, name] : applications_)
        id->addItem(fromText(bundleID), fromText(name));
    id->setCurrentText({});
    auto* form = new QFormLayout;
    form->addRow(label("Application's &id:"), id);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(label("Add"));
    buttons->button(QDialogButtonBox::Ok)->setEnabled(false);
    buttons->button(QDialogButtonBox::Cancel)->setText(label("Cancel"));
    auto* column = new QVBoxLayout(dialog);
    column->addLayout(form);
    column->addWidget(
        newNote(label("The list holds those that you dictated into. Others are named "
                      "by their desktop file, such as org.gnome.gedit.")));
    column->addWidget(buttons);
    connect(id, &QComboBox::editTextChanged, dialog, [buttons](const QString& text) {
        buttons->button(QDialogButtonBox::Ok)->setEnabled(!text.trimmed().isEmpty());
    });
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    connect(dialog, &QDialog::accepted, this, [this, id, chosen = std::move(chosen)] {
        AppProfile application;
        application.bundleID = toText(id->currentText().trimmed());
        const auto known = applications_.find(application.bundleID);
        application.displayName =
            known == applications_.end() ? application.bundleID : known->second;
        application.sendKey = record().sendKey;
        chosen(application);
    });
    dialog->open();
}

asio::awaitable<void> AppsPage::gatherApplications() {
    for (const auto& session : co_await services_.history.recentSessions(knownSessions)) {
        if (session.appBundleID)
            applications_.emplace(*session.appBundleID,
                                  session.appDisplayName.value_or(*session.appBundleID));
    }
    installed_ = co_await services_.installed();
    showProfiles();
    showExcluded();
}

}  // namespace quillet
