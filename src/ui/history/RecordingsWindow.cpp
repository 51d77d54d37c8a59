#include "ui/history/RecordingsWindow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QStackedLayout>
#include <QVBoxLayout>
#include <algorithm>

#include "base/async/Checkpoint.h"
#include "ui/history/StepAside.h"
#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/Choice.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr QSize usualSize{640, 480};
constexpr std::chrono::seconds undoTime{30};

}  // namespace

RecordingsWindow::RecordingsWindow(Services services)
    : services_(std::move(services)),
      model_(new RecordingListModel(services_.calendar, this)),
      message_(new MessageBar),
      list_(new QListView),
      empty_(new QLabel(label("None yet — the last recordings are kept for 7 days"))),
      progress_(new QProgressBar),
      play_(new QPushButton(label("&Play"))),
      send_(new QPushButton(label("Send &Again"))),
      delete_(new QPushButton(label("&Delete"))),
      deleteAll_(new QPushButton(label("Delete All Recordings"))),
      player_({services_.loop, services_.archive, services_.player},
              {[this] { showActions(); },
               [this](auto position, auto length) { showPosition(position, length); },
               [this](const QString& sentence) { message_->showError(sentence); }}),
      tasks_(services_.loop) {
    setWindowTitle(label("Recent Recordings"));
    resize(usualSize);
    auto* column = new QVBoxLayout(this);
    column->addWidget(message_);
    column->addWidget(makeList(), 1);
    column->addWidget(progress_);
    column->addWidget(makeActions());
    recordingsChanged_ = services_.notifications.subscribe(
        std::string(recordingsChangedNotification), [this] { reload(); });
    showActions();
    reload();
}

QWidget* RecordingsWindow::makeList() {
    list_->setModel(model_);
    list_->setAccessibleName(label("Recent Recordings"));
    list_->setItemDelegate(new TwoLineDelegate(list_));
    list_->setUniformItemSizes(true);
    onChosen(*list_, [this] { showActions(); });
    connect(list_, &QListView::doubleClicked, this, [this] { playOrStop(); });
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setWordWrap(true);
    auto* either = new QWidget;
    either_ = new QStackedLayout(either);
    either_->addWidget(list_);
    either_->addWidget(empty_);
    progress_->setAccessibleName(label("Position in the recording"));
    progress_->hide();
    return either;
}

QWidget* RecordingsWindow::makeActions() {
    const auto onKey = [this](const QKeySequence& keys, QPushButton* button) {
        auto* shortcut = new QShortcut(keys, list_);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, button, &QPushButton::click);
    };
    onKey(Qt::Key_Space, play_);
    onKey(QKeySequence::Delete, delete_);
    connect(play_, &QPushButton::clicked, this, [this] { playOrStop(); });
    connect(send_, &QPushButton::clicked, this, [this] { sendAgain(); });
    connect(delete_, &QPushButton::clicked, this, [this] { tasks_.spawn(deleteCurrent()); });
    connect(deleteAll_, &QPushButton::clicked, this, [this] { askToDeleteAll(); });
    send_->setToolTip(
        label("Recognises the recording and types it into the window behind this one"));
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    for (auto* button : {play_, send_, delete_}) {
        button->setAutoDefault(false);
        layout->addWidget(button);
    }
    layout->addStretch(1);
    deleteAll_->setAutoDefault(false);
    layout->addWidget(deleteAll_);
    return row;
}

void RecordingsWindow::reload() {
    loading_.cancel();
    loading_ = tasks_.spawn(load());
}

asio::awaitable<void> RecordingsWindow::load() {
    auto items = co_await services_.archive.list();
    co_await checkpoint();
    const auto* before = current();
    const auto id = before == nullptr ? std::string() : before->id;
    const auto row = std::max(0, chosenIn(*list_).row());
    model_->setItems(std::move(items));
    const auto rows = model_->rowCount();
    const auto same = model_->indexOf(id);
    if (rows > 0)
        list_->setCurrentIndex(same.isValid() ? same : model_->index(std::min(row, rows - 1)));
    either_->setCurrentWidget(rows > 0 ? static_cast<QWidget*>(list_) : empty_);
    showActions();
}

const RecordingArchive::Item* RecordingsWindow::current() const {
    return model_->itemAt(chosenIn(*list_));
}

void RecordingsWindow::showActions() {
    const bool isPlaying = player_.playing().has_value();
    const bool isOne = current() != nullptr;
    play_->setText(isPlaying ? label("S&top") : label("&Play"));
    play_->setEnabled(isPlaying || isOne);
    send_->setEnabled(isOne);
    delete_->setEnabled(isOne);
    deleteAll_->setEnabled(isOne);
    progress_->setVisible(isPlaying);
    if (!isPlaying)
        progress_->reset();
}

void RecordingsWindow::showPosition(std::chrono::milliseconds position,
                                    std::chrono::milliseconds length) {
    progress_->setMaximum(static_cast<int>(length.count()));
    progress_->setValue(static_cast<int>(position.count()));
    progress_->setFormat(
        label("{} of {}", toText(lengthText(position)), toText(lengthText(length))));
}

void RecordingsWindow::playOrStop() {
    if (player_.playing())
        player_.stop();
    else if (const auto* item = current())
        player_.play(item->id);
}

void RecordingsWindow::sendAgain() {
    player_.stop();
    stepAside(*this, *message_, [this, id = current()->id] {
        const auto refusal = services_.sendAgain(id);
        if (refusal.empty())
            return;
        showNormal();
        message_->showError(label(refusal));
    });
}

asio::awaitable<void> RecordingsWindow::deleteCurrent() {
    const auto* item = current();
    if (item == nullptr || std::exchange(isDeleting_, true))
        co_return;
    player_.stop();
    auto taken = co_await services_.archive.take(item->id);
    co_await checkpoint();
    isDeleting_ = false;
    if (taken)
        offerUndo(std::move(*taken));
    else
        message_->showError(
            label("This recording could not be deleted. It may be gone already, or its folder may "
                  "not be writable."));
    reload();
}

void RecordingsWindow::offerUndo(RecordingArchive::Taken taken) {
    const auto shared = std::make_shared<RecordingArchive::Taken>(std::move(taken));
    message_->showInfo(
        label("Recording deleted"), label("&Undo"),
        [this, shared] { tasks_.spawn(undo(std::move(*shared))); }, undoTime);
}

asio::awaitable<void> RecordingsWindow::undo(RecordingArchive::Taken taken) {
    const bool isBack = co_await services_.archive.putBack(std::move(taken));
    co_await checkpoint();
    if (!isBack)
        message_->showError(
            label("The recording could not be put back. See whether the disk is full."));
    reload();
}

void RecordingsWindow::askToDeleteAll() {
    tasks_.spawn(askAboutAll());
}

asio::awaitable<void> RecordingsWindow::askAboutAll() {
    const auto items = co_await services_.archive.list();
    co_await checkpoint();
    if (items.empty())
        co_return;
    const Question question{
        .sentence = counted("Delete {} recording?", "Delete {} recordings?",
                            static_cast<long>(items.size())),
        .detail =
            label("What was written stays. Recordings that were not recognised yet are lost."),
        .action = label("Delete")};
    askFirst(this, question, [this] { tasks_.spawn(deleteAll()); });
}

asio::awaitable<void> RecordingsWindow::deleteAll() {
    player_.stop();
    (void)co_await services_.archive.deleteAll();
}

}  // namespace quillet
