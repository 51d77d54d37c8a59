#include "ui/meetings/MeetingsWindow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QShortcut>
#include <QSplitter>
#include <QStackedLayout>
#include <QVBoxLayout>
#include <algorithm>

#include "base/async/Checkpoint.h"
#include "meetings/MeetingMessages.h"
#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/Choice.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/UiText.h"
#include "ui/meetings/MeetingListModel.h"
#include "ui/meetings/MeetingNotePane.h"
#include "ui/meetings/MeetingStateRow.h"
#include "ui/meetings/NoteSearch.h"

namespace quillet {

namespace {

constexpr QSize usualSize{980, 600};
constexpr int listWidth = 280;
constexpr int emptyMargin = 40;

}  // namespace

MeetingsWindow::MeetingsWindow(Services services)
    : services_(services),
      model_(new MeetingListModel(services.calendar, this)),
      message_(new MessageBar),
      search_(new QLineEdit),
      list_(new QListView),
      empty_(new QLabel),
      tasks_(services.loop) {
    setWindowTitle(label("Meetings"));
    resize(usualSize);
    makeState();
    makePane();
    auto* both = new QSplitter;
    both->addWidget(makeList());
    both->addWidget(makeNote());
    both->setStretchFactor(1, 1);
    both->setSizes({listWidth, usualSize.width() - listWidth});
    both->setChildrenCollapsible(false);
    auto* column = new QVBoxLayout(this);
    column->addWidget(message_);
    column->addWidget(state_);
    column->addWidget(both, 1);
    connect(&folder_, &QFileSystemWatcher::directoryChanged, this, [this] { reload(); });
    changed_ = services_.notifications.subscribe(std::string(meetingChangedNotification), [this] {
        pane_->showActions();
        reload();
    });
    reload();
    list_->setFocus();
}

MeetingsWindow::~MeetingsWindow() {
    searchStop_.request_stop();
}

void MeetingsWindow::makeState() {
    state_ = new MeetingStateRow(
        {services_.loop, services_.meetings, services_.calendar, services_.notifications},
        {.written = [this](std::string note) { tasks_.spawn(tellOfNote(std::move(note))); },
         .nothingHeard = [this] { message_->showInfo(label(meeting_messages::nothingHeard)); },
         .failed = [this](const std::string& sentence) { message_->showError(label(sentence)); }});
}

void MeetingsWindow::makePane() {
    pane_ = new MeetingNotePane(
        {services_.loop, services_.meetings, services_.archive, services_.notes, services_.calendar,
         services_.notifications, services_.player},
        {.told = [this](const QString& sentence) { message_->showInfo(sentence); },
         .failed = [this](const QString& sentence) { message_->showError(sentence); },
         .wantsSummary = [this](std::string note) { state_->summarise(std::move(note)); },
         .deleted = [this] { message_->showInfo(label("Meeting note deleted")); }});
}

QWidget* MeetingsWindow::makeList() {
    search_->setPlaceholderText(label("Search the meeting notes"));
    search_->setAccessibleName(label("Search"));
    search_->setClearButtonEnabled(true);
    connect(search_, &QLineEdit::textChanged, this, [this] { reload(); });
    auto* find = new QShortcut(QKeySequence(QKeySequence::Find), this);
    connect(find, &QShortcut::activated, search_, [this] {
        search_->setFocus(Qt::ShortcutFocusReason);
        search_->selectAll();
    });
    auto* down = new QShortcut(QKeySequence(Qt::Key_Down), search_);
    down->setContext(Qt::WidgetShortcut);
    connect(down, &QShortcut::activated, list_, [this] { list_->setFocus(); });
    list_->setModel(model_);
    list_->setAccessibleName(label("Meetings"));
    list_->setItemDelegate(new TwoLineDelegate(list_));
    list_->setUniformItemSizes(true);
    onChosen(*list_, [this] { showCurrent(); });
    pane_->listenTo(*list_);
    auto* left = new QWidget;
    auto* column = new QVBoxLayout(left);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(search_);
    column->addWidget(list_, 1);
    return left;
}

QWidget* MeetingsWindow::makeNote() {
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setWordWrap(true);
    empty_->setMargin(emptyMargin);
    auto* right = new QWidget;
    either_ = new QStackedLayout(right);
    either_->addWidget(empty_);
    either_->addWidget(pane_);
    return right;
}

/// The folder comes with the first note, and may be made anew.
void MeetingsWindow::followFolder() {
    const auto path = QString::fromStdString(services_.notes.folder().string());
    if (!folder_.directories().contains(path))
        folder_.addPath(path);
}

// ---- What is shown

void MeetingsWindow::reload() {
    searchStop_.request_stop();
    searchStop_ = {};
    loading_.cancel();
    loading_ = tasks_.spawn(load(searchStop_.get_token()));
}

asio::awaitable<void> MeetingsWindow::load(std::stop_token stop) {
    auto notes = co_await notesWith(services_.notes, toText(search_->text()), std::move(stop));
    const auto index = co_await services_.notes.index();
    co_await checkpoint();
    if (!notes.empty())
        followFolder();
    const auto before = chosenIn(*list_);
    if (const auto* row = model_->rowAt(before); row != nullptr && wanted_.empty())
        wanted_ = row->note.name;
    model_->setNotes(std::move(notes), index);
    select(std::max(0, before.row()));
}

/// The note that was chosen before, or the one in its place: its name changes when it is finished.
void MeetingsWindow::select(int rowBefore) {
    const auto same = model_->indexOf(std::exchange(wanted_, {}));
    const auto last = model_->rowCount() - 1;
    if (same.isValid() || last < 0)
        list_->setCurrentIndex(same);
    else
        list_->setCurrentIndex(model_->index(std::min(rowBefore, last)));
    if (last < 0)
        showCurrent();
}

void MeetingsWindow::showCurrent() {
    const auto* row = model_->rowAt(chosenIn(*list_));
    if (row != nullptr) {
        pane_->showNote(row->note);
        either_->setCurrentWidget(pane_);
    } else if (model_->rowCount() == 0) {
        empty_->setText(emptySentence());
        either_->setCurrentWidget(empty_);
    }
}

QString MeetingsWindow::emptySentence() const {
    if (!search_->text().trimmed().isEmpty())
        return label("No meeting note holds these words.");
    return label(
        "The notes of your meetings appear here: the key points, who does what, and every word. "
        "Start Meeting records your microphone and the call's other side until you stop it.");
}

asio::awaitable<void> MeetingsWindow::tellOfNote(std::string name) {
    const auto record = co_await services_.archive.ofNote(name);
    co_await checkpoint();
    wanted_ = std::move(name);
    reload();
    if (record && record->stage == MeetingRecord::Stage::transcribed)
        message_->showError(
            label("The note has no summary. Check the language model in the settings, then "
                  "choose Summarise Again."));
    else
        message_->showInfo(label(meeting_messages::written));
}

}  // namespace quillet
