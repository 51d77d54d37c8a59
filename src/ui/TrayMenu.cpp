#include "ui/TrayMenu.h"

#include <QCheckBox>
#include <QCursor>
#include <QFontMetrics>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>

#include "base/async/Checkpoint.h"
#include "base/text/Text.h"
#include "meetings/MeetingMessages.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

constexpr int iconSize = 64;
constexpr int mostRecordings = 10;
constexpr std::size_t shownCharacters = 40;
constexpr int widestTrouble = 420;

struct ModeItem {
    HotkeyMode mode;
    std::string_view text;
};
constexpr ModeItem modeItems[] = {
    {HotkeyMode::dictate, toTranslate("Dictate\tFn+Ctrl")},
    {HotkeyMode::command, toTranslate("Spoken command\tFn+Ctrl+Shift")},
    {HotkeyMode::translate, toTranslate("Translate\tFn+Ctrl+Alt")},
    {HotkeyMode::live, toTranslate("Live writing\tFn+Ctrl+Super")},
    {HotkeyMode::amend, toTranslate("Change the last dictation\tFn+Ctrl+Shift+Alt")},
};

std::string_view stateText(RecognitionState state) {
    return state == RecognitionState::recording ? toTranslate("recording") : toTranslate("writing");
}

/// A quill's nib; red while recording, amber while the words are made. A red dot beside it while a
/// meeting is recorded.
QIcon iconFor(RecognitionState state, const QColor& plain, bool meeting) {
    QColor colour = plain;
    if (state == RecognitionState::recording)
        colour = QColor(0xD6, 0x2D, 0x20);
    else if (state == RecognitionState::refining)
        colour = QColor(0xE0, 0x9A, 0x1A);
    QPixmap pixmap(iconSize, iconSize);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    const QPolygonF nib({{32, 60}, {14, 30}, {22, 6}, {42, 6}, {50, 30}});
    painter.drawPolygon(nib);
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.drawEllipse(QPointF(32, 30), 5, 5);
    painter.drawRect(QRectF(30.5, 34, 3, 26));
    if (meeting) {
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        painter.setBrush(QColor(0xD6, 0x2D, 0x20));
        painter.drawEllipse(QPointF(53, 11), 10, 10);
    }
    return QIcon(pixmap);
}

/// What it ends with is told by the meeting itself.
asio::awaitable<void> ending(asio::awaitable<MeetingTranscriber::Finished> meeting) {
    (void)co_await std::move(meeting);
}

QString describe(const RecordingArchive::Item& item, const Calendar& calendar) {
    const auto today = wallTime(calendar.now(), calendar).date();
    const auto when = toText(dayAndClockText(wallTime(item.date, calendar), today));
    auto text = label("{} · {:.0f} s", when, item.seconds);
    if (item.text)
        text += QStringLiteral(" · ") + fromText(shortened(*item.text, shownCharacters));
    return text;
}

}  // namespace

TrayMenu::TrayMenu(Services services) : services_(std::move(services)), tasks_(services_.loop) {
    menu_.setToolTipsVisible(true);
    QObject::connect(&menu_, &QMenu::aboutToShow, &menu_, [this] { fill(); });
    QObject::connect(&icon_, &QSystemTrayIcon::activated, &menu_,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger)
                             popUp();
                     });
    stateChanged_ = services_.notifications.subscribe(std::string(stateChangedNotification),
                                                      [this] { update(); });
    sttError_ =
        services_.notifications.subscribe(std::string(sttErrorNotification), [this] { update(); });
    meetingChanged_ =
        services_.notifications.subscribe(std::string(meetingChangedNotification), [this] {
            update();
            tasks_.spawn(lookForUnfinished());
        });
    recordingsChanged_ = services_.notifications.subscribe(
        std::string(recordingsChangedNotification), [this] { listAgain(); });
    tasks_.spawn(lookForUnfinished());
    fill();
    icon_.setContextMenu(&menu_);
    update();
    icon_.show();
}

void TrayMenu::popUp() {
    menu_.popup(QCursor::pos());
    menu_.activateWindow();
}

void TrayMenu::update() {
    const auto state = services_.session.state();
    const bool meeting = services_.meetings.isRecording();
    icon_.setIcon(iconFor(state, menu_.palette().color(QPalette::WindowText), meeting));
    if (state != RecognitionState::idle)
        icon_.setToolTip(label("Quillet — {}", translated(stateText(state))));
    else
        icon_.setToolTip(meeting ? label("Quillet — a meeting is recorded") : label("Quillet"));
}

void TrayMenu::fill() {
    menu_.clear();
    fillTroubles();
    fillModes();
    menu_.addSeparator();
    fillMeeting();
    menu_.addSeparator();
    addRecordings();
    fillWindows();
    menu_.addSeparator();
    fillSwitches();
    menu_.addSeparator();
    menu_.addAction(label("Settings…"), &menu_, [this] { services_.open(WindowKind::settings); });
    menu_.addAction(label("Guide…"), &menu_, [this] { services_.open(WindowKind::guide); });
    menu_.addAction(label("Quit Quillet"), &menu_, [this] { services_.quit(); });
}

void TrayMenu::fillTroubles() {
    const auto& failure = services_.session.lastSTTError();
    if (failure)
        addTrouble(failure->sentence, failure->error.longText());
    for (const auto& conflict : services_.hotkeys.conflicts())
        addTrouble(conflict, conflict);
    if (!menu_.isEmpty())
        menu_.addSeparator();
}

/// A line to read, with all of it in the tool tip. It leads to where something can be done about
/// it.
void TrayMenu::addTrouble(const std::string& sentence, const std::string& detail) {
    const QFontMetrics metrics(menu_.font());
    auto* line = menu_.addAction(metrics.elidedText(label(sentence), Qt::ElideRight, widestTrouble),
                                 &menu_, [this] { services_.open(WindowKind::settings); });
    line->setToolTip(sentence == detail ? label(sentence)
                                        : label(sentence) + QLatin1Char('\n') + fromText(detail));
}

void TrayMenu::fillModes() {
    auto& session = services_.session;
    if (session.state() == RecognitionState::recording) {
        menu_.addAction(label("Finish\tFn+Ctrl"), &menu_, [&session] { session.stop(); });
        menu_.addAction(label("Cancel\tEsc"), &menu_, [&session] { session.cancel(); });
    } else {
        if (session.sendPending())
            menu_.addAction(label("Don't send\tEsc"), &menu_, [&session] { session.cancel(); });
        for (const auto& item : modeItems)
            menu_.addAction(label(item.text), &menu_,
                            [&session, mode = item.mode] { session.start(mode); });
    }
    menu_.addAction(label("Paste the last result again\tCtrl+Alt+V"), &menu_,
                    [&session] { session.pasteLast(); });
}

void TrayMenu::fillMeeting() {
    auto& meetings = services_.meetings;
    const auto line = [this](const QString& text) {
        menu_.addAction(text, &menu_, [this] { services_.open(WindowKind::meetings); });
    };
    if (const auto* recording = std::get_if<MeetingTranscriber::Recording>(&meetings.phase())) {
        const auto since = clockText(wallTime(recording->since, services_.calendar));
        line(label("Meeting: recording since {}", toText(since)));
        if (meetings.isQuiet())
            line(label(meeting_messages::almostNothing));
        menu_.addAction(label("Stop — Write the Notes"), &menu_,
                        [this] { tasks_.spawn(ending(services_.meetings.stop())); });
    } else if (std::holds_alternative<MeetingTranscriber::Writing>(meetings.phase())) {
        line(label("Meeting: writing the notes…"));
    } else {
        menu_.addAction(label("Start Meeting"), &menu_, [this] { startMeeting(); });
        if (hasUnfinished_)
            menu_.addAction(label("Finish the Interrupted Meeting"), &menu_,
                            [this] { tasks_.spawn(ending(services_.meetings.recover())); });
    }
    menu_.addAction(label("Show Meeting Notes"), &menu_,
                    [this] { services_.open(WindowKind::meetings); });
}

void TrayMenu::startMeeting() {
    auto begin = [](TrayMenu& self) -> asio::awaitable<void> {
        // A failure is told by the meeting itself.
        const auto started = co_await self.services_.meetings.start();
        if (started && self.services_.meetings.remindsOfConsent())
            self.remindOfConsent();
    };
    tasks_.spawn(begin(*this));
}

void TrayMenu::remindOfConsent() {
    auto* box = new QMessageBox(QMessageBox::Information, label("Quillet"),
                                label(meeting_messages::consent), QMessageBox::Ok);
    auto* never = new QCheckBox(label("Don't show again"));
    box->setCheckBox(never);
    box->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(box, &QMessageBox::finished, &menu_, [this, never] {
        if (never->isChecked())
            services_.meetings.remindNoMore();
    });
    box->show();
}

asio::awaitable<void> TrayMenu::lookForUnfinished() {
    const auto open = co_await services_.meetings.unfinished();
    hasUnfinished_ = !open.empty();
}

void TrayMenu::listAgain() {
    listing_.cancel();
    listing_ = tasks_.spawn(listRecordings());
}

asio::awaitable<void> TrayMenu::listRecordings() {
    kept_ = co_await services_.archive.list();
    co_await checkpoint();
    fillRecordings();
}

void TrayMenu::addRecordings() {
    delete recordings_;
    recordings_ = new QMenu(label("Recent Recordings"), &menu_);
    menu_.addMenu(recordings_);
    fillRecordings();
    listAgain();  // another program may have changed them
}

void TrayMenu::fillRecordings() {
    recordings_->clear();
    if (kept_.empty()) {
        auto* none =
            recordings_->addAction(label("None yet — the last recordings are kept for 7 days"));
        none->setEnabled(false);
        return;
    }
    int shown = 0;
    for (const auto& item : kept_) {
        if (++shown > mostRecordings)
            break;
        recordings_->addAction(describe(item, services_.calendar), &menu_,
                               [this, id = item.id] { services_.session.sendAgain(id); });
    }
    recordings_->addSeparator();
    recordings_->addAction(label("Show All Recordings…"), &menu_,
                           [this] { services_.open(WindowKind::recordings); });
    recordings_->addAction(label("Delete All Recordings"), &menu_,
                           [this] { services_.deleteRecordings(); });
}

void TrayMenu::fillWindows() {
    struct Item {
        WindowKind kind;
        std::string_view text;
    };
    constexpr Item items[] = {{WindowKind::history, toTranslate("History…")},
                              {WindowKind::review, toTranslate("Nightly Review…")},
                              {WindowKind::knowledge, toTranslate("Knowledge…")}};
    for (const auto& item : items)
        menu_.addAction(label(item.text), &menu_,
                        [this, kind = item.kind] { services_.open(kind); });
}

void TrayMenu::fillSwitches() {
    addSwitch(toTranslate("Show the words while speaking"),
              &QuilletSettings::showsTextWhileSpeaking);
    addSwitch(toTranslate("Mute system audio while recording"),
              &QuilletSettings::muteSystemAudioWhileRecording);
    addSwitch(toTranslate("Keep a history"), &QuilletSettings::sessionLoggingEnabled);
}

void TrayMenu::addSwitch(std::string_view text, bool QuilletSettings::* field) {
    auto* action = menu_.addAction(label(text));
    action->setCheckable(true);
    action->setChecked(services_.settings.record().*field);
    QObject::connect(action, &QAction::toggled, &menu_, [this, field](bool on) {
        services_.settings.change([field, on](QuilletSettings& record) { record.*field = on; });
    });
}

}  // namespace quillet
