#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <string_view>

#include "base/notification/NotificationCenter.h"
#include "ui/history/RecordingListModel.h"
#include "ui/history/RecordingPlayer.h"

class QLabel;
class QListView;
class QProgressBar;
class QPushButton;
class QStackedLayout;

namespace quillet {

class MessageBar;

/// The recordings that were kept for a while, to be heard, sent again or deleted.
class RecordingsWindow : public QWidget {
public:
    struct Services {
        Loop& loop;
        RecordingArchive& archive;
        const Calendar& calendar;
        NotificationCenter& notifications;
        AudioPlayer& player;
        /// Recognises a recording and types it into the application in front, which this window is
        /// no more by then. Why that is refused, or empty.
        std::function<std::string_view(std::string id)> sendAgain;
    };

    explicit RecordingsWindow(Services services);

    /// Deletes all recordings where the user confirms it.
    void askToDeleteAll();

private:
    [[nodiscard]] QWidget* makeList();
    [[nodiscard]] QWidget* makeActions();
    void reload();
    asio::awaitable<void> load();
    [[nodiscard]] const RecordingArchive::Item* current() const;
    void showActions();
    void showPosition(std::chrono::milliseconds position, std::chrono::milliseconds length);
    void playOrStop();
    void sendAgain();
    asio::awaitable<void> deleteCurrent();
    void offerUndo(RecordingArchive::Taken taken);
    asio::awaitable<void> undo(RecordingArchive::Taken taken);
    asio::awaitable<void> askAboutAll();
    asio::awaitable<void> deleteAll();

    Services services_;
    RecordingListModel* model_;
    MessageBar* message_;
    QListView* list_;
    QLabel* empty_;
    QStackedLayout* either_ = nullptr;  // the list or the sentence that there is nothing
    QProgressBar* progress_;
    QPushButton* play_;
    QPushButton* send_;
    QPushButton* delete_;
    QPushButton* deleteAll_;
    RecordingPlayer player_;
    bool isDeleting_ = false;
    NotificationCenter::Subscription recordingsChanged_;
    TaskHandle loading_;
    TaskScope tasks_;
};

}  // namespace quillet
