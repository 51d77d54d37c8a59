#include "ui/meetings/MeetingNotePane.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QUrl>
#include <QVBoxLayout>

#include "base/async/Checkpoint.h"
#include "base/async/ToItsEnd.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"
#include "ui/meetings/NoteView.h"
#include "ui/meetings/PlayBar.h"

namespace quillet {

namespace {

constexpr std::int64_t samplesPerMillisecond = 16;
/// Days of talk; laying out more would hold up the program.
constexpr std::size_t longestShown = 2U << 20U;

QUrl fileUrl(const std::filesystem::path& path) {
    return QUrl::fromLocalFile(QString::fromStdString(path.string()));
}

}  // namespace

MeetingNotePane::MeetingNotePane(Services services, Listener listener)
    : services_(services),
      listener_(std::move(listener)),
      view_(new NoteView),
      playBar_(new PlayBar),
      audioLine_(new QLabel),
      summarise_(new QPushButton(label("&Summarise Again"))),
      copy_(new QPushButton(label("&Copy"))),
      open_(new QPushButton(label("&Open in Editor"))),
      folder_(new QPushButton(label("Show in &Folder"))),
      delete_(new QPushButton(label("&Delete…"))),
      player_({services.loop, services.archive, services.player, services.notes.queue()},
              {[this] { showPlaying(); }, [this](auto position) { heard(position); },
               [this](const QString& sentence) { listener_.failed(sentence); }}),
      tasks_(services.loop) {
    audioLine_->setWordWrap(true);
    view_->timeChosen = [this](std::chrono::seconds time) { play(time); };
    playBar_->playOrStop = [this] { playOrStop(); };
    playBar_->moved = [this](auto position) {
        if (player_.isPlaying())
            play(position);
    };
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(view_, 1);
    column->addWidget(playBar_);
    column->addWidget(audioLine_);
    column->addWidget(makeActions());
}

MeetingNotePane::~MeetingNotePane() {
    isGoing_ = true;  // a note that is being deleted is so before the tasks end
}

QWidget* MeetingNotePane::makeActions() {
    summarise_->setToolTip(label("This note has no summary yet. Asks the language model for one."));
    copy_->setToolTip(label("Copies the note as Markdown"));
    connect(summarise_, &QPushButton::clicked, this,
            [this] { listener_.wantsSummary(note_.name); });
    connect(copy_, &QPushButton::clicked, this, [this] { copy(); });
    connect(open_, &QPushButton::clicked, this, [this] { openInEditor(); });
    connect(folder_, &QPushButton::clicked, this, [this] { showInFolder(); });
    connect(delete_, &QPushButton::clicked, this, [this] { askToDelete(); });
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(summarise_);
    layout->addStretch(1);
    for (auto* button : {copy_, open_, folder_, delete_})
        layout->addWidget(button);
    for (auto* button : {summarise_, copy_, open_, folder_, delete_})
        button->setAutoDefault(false);
    return row;
}

void MeetingNotePane::listenTo(QWidget& list) {
    const auto onKey = [&list, this](const QKeySequence& keys, auto act) {
        auto* shortcut = new QShortcut(keys, &list);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, act);
    };
    onKey(QKeySequence::Copy, [this] { copy_->click(); });
    onKey(QKeySequence::Delete, [this] { delete_->click(); });
    onKey(Qt::Key_Space, [this] {
        if (hasAudio())
            playOrStop();
    });
}

// ---- What is shown

void MeetingNotePane::showNote(MeetingLibrary::Entry note) {
    loading_.cancel();
    loading_ = tasks_.spawn(load(std::move(note)));
}

asio::awaitable<void> MeetingNotePane::load(MeetingLibrary::Entry note) {
    auto text = (co_await services_.notes.read(note.name)).value_or("");
    auto kept = co_await whatIsKept(note.name);
    co_await checkpoint();
    const bool isSameNote = note.name == note_.name;
    const bool isUnchanged = isSameNote && text == markdown_ && kept == kept_;
    note_ = std::move(note);
    if (!isSameNote)
        player_.stop();
    if (!isUnchanged) {
        markdown_ = std::move(text);
        kept_ = std::move(kept);
        showText();
    }
    showActions();
}

asio::awaitable<std::optional<MeetingNotePane::Kept>> MeetingNotePane::whatIsKept(
    std::string note) {
    auto record = co_await services_.archive.ofNote(std::move(note));
    if (!record)
        co_return std::nullopt;
    Kept kept{record->id, record->stage, record->started, {}};
    if (const auto samples = co_await services_.archive.length(record->id))
        kept.audio = MeetingPlayer::Position(*samples / samplesPerMillisecond);
    co_return kept;
}

void MeetingNotePane::showText() {
    NoteText text;
    if (markdown_.size() <= longestShown)
        text = readNoteText(markdown_);
    else
        text.body = toText(label("This note is too long to be shown here. Open it in an editor."));
    view_->showNote(std::move(text), hasAudio() ? NoteView::Times::links : NoteView::Times::plain);
    playBar_->setVisible(hasAudio());
    if (hasAudio())
        playBar_->setLength(*kept_->audio);
    playBar_->setPosition(MeetingPlayer::Position(0));
    audioLine_->setText(audioSentence());
}

QString MeetingNotePane::audioSentence() const {
    if (!hasAudio())
        return label("No audio is kept of this meeting. It is deleted after {} days.",
                     MeetingArchive::keptFor.count());
    if (kept_->stage == MeetingRecord::Stage::open)
        return label("The audio is kept until the note is finished.");
    const auto today = wallTime(services_.calendar.now(), services_.calendar).date();
    const auto last = wallTime(kept_->started + MeetingArchive::keptFor, services_.calendar);
    return label("The audio is kept until {}. Choose a time in the transcript to hear it.",
                 toText(dayText(last.date(), today)));
}

bool MeetingNotePane::isBeingWritten() const {
    return kept_ && kept_->stage != MeetingRecord::Stage::done &&
           !std::holds_alternative<MeetingTranscriber::Idle>(services_.meetings.phase());
}

void MeetingNotePane::showActions() {
    const bool isIdle =
        std::holds_alternative<MeetingTranscriber::Idle>(services_.meetings.phase());
    summarise_->setVisible(kept_ && kept_->stage == MeetingRecord::Stage::transcribed);
    summarise_->setEnabled(isIdle);
    delete_->setEnabled(!isBeingWritten());
    playBar_->setEnabled(!services_.meetings.isRecording());
    if (services_.meetings.isRecording())
        player_.stop();
}

// ---- The audio

void MeetingNotePane::play(MeetingPlayer::Position from) {
    if (!hasAudio())
        return;
    if (services_.meetings.isRecording()) {
        listener_.told(label("While a meeting is recorded, what is played would be recorded too."));
        return;
    }
    playBar_->setPosition(from);
    player_.play(kept_->id, from, *kept_->audio);
    heard(from);
}

void MeetingNotePane::playOrStop() {
    if (player_.isPlaying()) {
        player_.stop();
        return;
    }
    const auto position = playBar_->position();
    const bool isAtEnd = position + std::chrono::seconds(1) > *kept_->audio;
    play(isAtEnd ? MeetingPlayer::Position(0) : position);
}

void MeetingNotePane::heard(MeetingPlayer::Position position) {
    playBar_->setPosition(position);
    view_->markHeard(lineAt(view_->lines(), position));
}

void MeetingNotePane::showPlaying() {
    playBar_->setPlaying(player_.isPlaying());
    if (!player_.isPlaying())
        view_->markHeard(std::nullopt);
}

// ---- What is done with it

void MeetingNotePane::copy() {
    QApplication::clipboard()->setText(fromText(markdown_));
    listener_.told(label("Copied."));
}

void MeetingNotePane::openInEditor() {
    if (!QDesktopServices::openUrl(fileUrl(note_.url)))
        listener_.failed(
            label("No program opens Markdown files. Choose one in the desktop's settings."));
}

void MeetingNotePane::showInFolder() {
    if (!QDesktopServices::openUrl(fileUrl(note_.url.parent_path())))
        listener_.failed(label("No program shows folders. The notes lie in {}.",
                               services_.notes.folder().string()));
}

void MeetingNotePane::askToDelete() {
    const Question question{
        .sentence = label("Delete the note “{}”?", titleInName(note_.name)),
        .detail = label("What is kept of the meeting's audio goes too. This cannot be undone."),
        .action = label("Delete")};
    askFirst(this, question, [this, name = note_.name] { tasks_.spawn(remove(name)); });
}

asio::awaitable<void> MeetingNotePane::remove(std::string name) {
    const auto record = co_await services_.archive.ofNote(name);
    co_await checkpoint();
    if (isBeingWritten())
        co_return;
    player_.stop();
    co_await toItsEnd();
    const bool isErased = co_await services_.notes.erase(name);
    if (isErased && record)
        co_await services_.archive.remove(record->id);
    if (isGoing_)
        co_return;
    if (!isErased) {
        listener_.failed(label("The note could not be deleted. Its folder may not be writable."));
        co_return;
    }
    listener_.deleted();
    services_.notifications.post(meetingChangedNotification);
}

}  // namespace quillet
