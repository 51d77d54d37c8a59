#include "ui/meetings/MeetingStateRow.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>

#include "base/async/Checkpoint.h"
#include "meetings/MeetingMessages.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

constexpr int busyWidth = 120;

}  // namespace

MeetingStateRow::MeetingStateRow(Services services, Listener listener)
    : services_(services),
      listener_(std::move(listener)),
      state_(new QLabel),
      busy_(new QProgressBar),
      start_(new QPushButton(label("Start Meeting"))),
      stop_(new QPushButton(label("Stop — Write the Notes"))),
      finish_(new QPushButton(label("Finish the Interrupted Meeting"))),
      cancel_(new QPushButton(label("Cancel"))),
      tasks_(services.loop) {
    makeLayout();
    connect(start_, &QPushButton::clicked, this, [this] { tasks_.spawn(start()); });
    connect(stop_, &QPushButton::clicked, this,
            [this] { tasks_.spawn(follow(services_.meetings.stop())); });
    connect(finish_, &QPushButton::clicked, this,
            [this] { tasks_.spawn(follow(services_.meetings.recover())); });
    connect(cancel_, &QPushButton::clicked, this, [this] {
        isCancelled_ = true;
        services_.meetings.cancelSummary();
    });
    changed_ = services_.notifications.subscribe(std::string(meetingChangedNotification),
                                                 [this] { showState(); });
    showState();
}

void MeetingStateRow::makeLayout() {
    state_->setWordWrap(true);
    busy_->setRange(0, 0);
    busy_->setTextVisible(false);
    busy_->setMaximumWidth(busyWidth);
    busy_->setAccessibleName(label("Meeting: writing the notes…"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(state_, 1);
    row->addWidget(busy_);
    for (auto* button : {finish_, start_, stop_, cancel_}) {
        button->setAutoDefault(false);
        row->addWidget(button);
    }
}

void MeetingStateRow::summarise(std::string note) {
    tasks_.spawn(follow(services_.meetings.summarise(std::move(note))));
}

QString MeetingStateRow::sentence() const {
    const auto& meetings = services_.meetings;
    if (std::holds_alternative<MeetingTranscriber::Writing>(meetings.phase()))
        return label("Meeting: writing the notes…");
    const auto* recording = std::get_if<MeetingTranscriber::Recording>(&meetings.phase());
    if (recording == nullptr)
        return hasUnfinished_ ? label("A meeting was interrupted. Its audio is safe.")
                              : label("No meeting is recorded.");
    const auto since = label("Meeting: recording since {}",
                             toText(clockText(wallTime(recording->since, services_.calendar))));
    return meetings.isQuiet() ? since + QLatin1Char('\n') + label(meeting_messages::almostNothing)
                              : since;
}

void MeetingStateRow::showState() {
    const auto& phase = services_.meetings.phase();
    const bool isIdle = std::holds_alternative<MeetingTranscriber::Idle>(phase);
    state_->setText(sentence());
    busy_->setVisible(std::holds_alternative<MeetingTranscriber::Writing>(phase));
    start_->setVisible(isIdle);
    stop_->setVisible(services_.meetings.isRecording());
    finish_->setVisible(isIdle && hasUnfinished_);
    cancel_->setVisible(!isIdle && services_.meetings.isSummarising());
    looking_.cancel();
    looking_ = tasks_.spawn(lookForUnfinished());
}

asio::awaitable<void> MeetingStateRow::lookForUnfinished() {
    const auto open = co_await services_.meetings.unfinished();
    co_await checkpoint();
    hasUnfinished_ = !open.empty();
    state_->setText(sentence());
    finish_->setVisible(hasUnfinished_ && start_->isVisibleTo(this));
}

asio::awaitable<void> MeetingStateRow::start() {
    const auto started = co_await services_.meetings.start();
    co_await checkpoint();
    if (!started)
        listener_.failed(started.error());
    else if (services_.meetings.remindsOfConsent())
        remindOfConsent();
}

void MeetingStateRow::remindOfConsent() {
    auto* box = new QMessageBox(QMessageBox::Information, label("Quillet"),
                                label(meeting_messages::consent), QMessageBox::Ok, this);
    auto* never = new QCheckBox(label("Don't show again"));
    box->setCheckBox(never);
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, this, [this, never] {
        if (never->isChecked())
            services_.meetings.remindNoMore();
    });
    box->open();
}

asio::awaitable<void> MeetingStateRow::follow(
    asio::awaitable<MeetingTranscriber::Finished> meeting) {
    isCancelled_ = false;
    auto finished = co_await std::move(meeting);
    co_await checkpoint();
    if (!finished && !std::exchange(isCancelled_, false))
        listener_.failed(finished.error());
    else if (finished && *finished)
        listener_.written(std::move(**finished));
    else if (finished)
        listener_.nothingHeard();
}

}  // namespace quillet
