#include "ui/settings/SettingsWindow.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QListWidget>
#include <QScrollBar>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "ui/kit/Choice.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr QSize usualSize(860, 600);
constexpr double lineHeight = 1.8;  // of a page in the list, in lines of text

}  // namespace

SettingsWindow::SettingsWindow(Services services)
    : services_(std::move(services)),
      list_(new QListWidget),
      messages_(new MessageBar),
      stack_(new QStackedWidget) {
    setWindowTitle(label("Settings"));
    list_->setAccessibleName(label("Pages"));
    offerPages();
    list_->setFixedWidth(list_->sizeHintForColumn(0) + 2 * list_->frameWidth() +
                         list_->verticalScrollBar()->sizeHint().width());
    auto* right = new QVBoxLayout;
    right->addWidget(messages_);
    right->addWidget(stack_, 1);
    auto* row = new QHBoxLayout(this);
    row->addWidget(list_);
    row->addLayout(right, 1);
    onChosen(*list_, [this] { showPage(chosenIn(*list_).row()); });
    list_->setCurrentRow(0);
    resize(usualSize);
}

template <class Page, class PageServices>
SettingsWindow::Maker SettingsWindow::makerOf(const PageServices& services) {
    return [this, &services]() -> SettingsPage* {
        return new Page({services_.settings, services_.notifications, *messages_}, services);
    };
}

void SettingsWindow::offerPages() {
    offer(label("General"), "preferences-system", makerOf<GeneralPage>(services_.general));
    offer(label("Recognition"), "audio-input-microphone",
          makerOf<RecognitionPage>(services_.recognition));
    offer(label("Writing"), "document-edit", makerOf<WritingPage>(services_.writing));
    offer(label("Vocabulary"), "accessories-dictionary",
          makerOf<VocabularyPage>(services_.vocabulary));
    offer(label("Apps"), "applications-other", makerOf<AppsPage>(services_.apps));
    offer(label("Memory & Knowledge"), "weather-clear-night",
          makerOf<MemoryPage>(services_.memory));
    offer(label("Meetings"), "x-office-calendar", makerOf<MeetingsPage>(services_.meetings));
    offer(label("Your AI"), "network-server", makerOf<MCPPage>(services_.mcp));
    offer(label("Privacy"), "security-high", makerOf<PrivacyPage>(services_.privacy));
}

void SettingsWindow::offer(const QString& title, const char* icon, Maker make) {
    auto* item = new QListWidgetItem(QIcon::fromTheme(QString::fromLatin1(icon)), title, list_);
    const auto height = static_cast<int>(fontMetrics().lineSpacing() * lineHeight);
    item->setSizeHint({list_->sizeHintForColumn(0), height});
    makers_.push_back(std::move(make));
    stack_->addWidget(new QWidget);
}

void SettingsWindow::showPage(int row) {
    if (row < 0 || (row == stack_->currentIndex() && !makers_[static_cast<std::size_t>(row)]))
        return;
    if (auto& make = makers_[static_cast<std::size_t>(row)]) {
        auto* nothing = stack_->widget(row);
        stack_->insertWidget(row, make());
        stack_->removeWidget(nothing);
        delete nothing;
        make = nullptr;
    }
    messages_->clear();
    stack_->setCurrentIndex(row);
}

/// Pages say what became of what they do.
SettingsWindow::~SettingsWindow() {
    delete stack_;
}

}  // namespace quillet
