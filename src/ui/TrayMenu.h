#pragma once

#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>
#include <functional>

#include "app/HotkeyController.h"
#include "app/RecordingSession.h"
#include "base/notification/NotificationCenter.h"
#include "meetings/MeetingTranscriber.h"
#include "ui/kit/Windows.h"

namespace quillet {

/// The icon beside the clock and its menu; on a desktop without such a place, the menu alone, which
/// `quillet` brings up.
class TrayMenu {
public:
    struct Services {
        Loop& loop;
        RecordingSession& session;
        RecordingArchive& archive;
        MeetingTranscriber& meetings;
        AppSettings& settings;
        Calendar& calendar;
        NotificationCenter& notifications;
        const HotkeyController& hotkeys;
        std::function<void(WindowKind kind)> open;
        std::function<void()> deleteRecordings;  ///< all of them; asks first
        std::function<void()> quit;
    };

    explicit TrayMenu(Services services);

    /// Opens the menu where the pointer is.
    void popUp();

private:
    void update();
    void fill();
    void fillTroubles();
    void addTrouble(const std::string& sentence, const std::string& detail);
    void fillModes();
    void fillMeeting();
    void startMeeting();
    void remindOfConsent();
    asio::awaitable<void> lookForUnfinished();
    asio::awaitable<void> listRecordings();
    void addRecordings();
    void fillRecordings();
    void listAgain();
    void fillSwitches();
    void fillWindows();
    void addSwitch(std::string_view text, bool QuilletSettings::* field);

    Services services_;
    QMenu menu_;
    QMenu* recordings_ = nullptr;
    std::vector<RecordingArchive::Item> kept_;  // newest first
    QSystemTrayIcon icon_;
    NotificationCenter::Subscription stateChanged_;
    NotificationCenter::Subscription sttError_;
    NotificationCenter::Subscription meetingChanged_;
    NotificationCenter::Subscription recordingsChanged_;
    bool hasUnfinished_ = false;  // a meeting that broke off
    TaskHandle listing_;
    TaskScope tasks_;
};

}  // namespace quillet
