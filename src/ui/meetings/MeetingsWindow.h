#pragma once

#include <QFileSystemWatcher>
#include <QWidget>
#include <stop_token>
#include <string>

#include "base/notification/NotificationCenter.h"
#include "meetings/MeetingTranscriber.h"
#include "platform/AudioPlayer.h"

class QLabel;
class QLineEdit;
class QListView;
class QStackedLayout;

namespace quillet {

class MeetingListModel;
class MeetingNotePane;
class MeetingStateRow;
class MessageBar;

/// The notes of meetings: on the left all of them, or those that hold all words of the search, on
/// the right the one that is chosen. Above them the meeting that is recorded now.
class MeetingsWindow : public QWidget {
public:
    struct Services {
        Loop& loop;
        MeetingTranscriber& meetings;
        MeetingArchive& archive;
        MeetingLibrary& notes;
        const Calendar& calendar;
        NotificationCenter& notifications;
        AudioPlayer& player;
    };

    explicit MeetingsWindow(Services services);
    ~MeetingsWindow() override;

private:
    void makeState();
    void makePane();
    [[nodiscard]] QWidget* makeList();
    [[nodiscard]] QWidget* makeNote();
    void followFolder();

    void reload();
    asio::awaitable<void> load(std::stop_token stop);
    void select(int rowBefore);
    void showCurrent();
    [[nodiscard]] QString emptySentence() const;
    asio::awaitable<void> tellOfNote(std::string name);

    Services services_;
    MeetingListModel* model_;
    MessageBar* message_;
    MeetingStateRow* state_ = nullptr;
    QLineEdit* search_;
    QListView* list_;
    MeetingNotePane* pane_ = nullptr;
    QLabel* empty_;
    QStackedLayout* either_ = nullptr;
    QFileSystemWatcher folder_;  // notes are changed by other programs too
    std::string wanted_;         // the note to be selected once it is there
    std::stop_source searchStop_;
    NotificationCenter::Subscription changed_;
    TaskHandle loading_;
    TaskScope tasks_;
};

}  // namespace quillet
