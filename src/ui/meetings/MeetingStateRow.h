#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "base/notification/NotificationCenter.h"
#include "meetings/MeetingTranscriber.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace quillet {

/// What the meeting that is recorded or written does, and what can be done about it: start it, stop
/// it, finish one that was interrupted.
class MeetingStateRow : public QWidget {
public:
    struct Services {
        Loop& loop;
        MeetingTranscriber& meetings;
        const Calendar& calendar;
        NotificationCenter& notifications;
    };
    struct Listener {
        std::function<void(std::string note)> written;
        std::function<void()> nothingHeard;
        std::function<void(const std::string& sentence)> failed;
    };

    MeetingStateRow(Services services, Listener listener);

    /// Has the summary written of a note that has none.
    void summarise(std::string note);

private:
    void makeLayout();
    void showState();
    [[nodiscard]] QString sentence() const;
    void remindOfConsent();
    asio::awaitable<void> start();
    asio::awaitable<void> follow(asio::awaitable<MeetingTranscriber::Finished> meeting);
    asio::awaitable<void> lookForUnfinished();

    Services services_;
    Listener listener_;
    QLabel* state_;
    QProgressBar* busy_;
    QPushButton* start_;
    QPushButton* stop_;
    QPushButton* finish_;
    QPushButton* cancel_;
    bool hasUnfinished_ = false;
    bool isCancelled_ = false;  // by this row, which need not be told
    NotificationCenter::Subscription changed_;
    TaskHandle looking_;
    TaskScope tasks_;
};

}  // namespace quillet
