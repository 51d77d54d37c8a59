#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "app/DictationDeletion.h"
#include "base/notification/NotificationCenter.h"
#include "settings/AppSettings.h"
#include "ui/history/EntryListModel.h"
#include "ui/history/RecordingPlayer.h"
#include "ui/history/SessionTree.h"

class QComboBox;
class QLineEdit;
class QListView;
class QPushButton;
class QTimer;

namespace quillet {

class EntryDetail;
class MessageBar;

/// The history of dictations: on the left its sessions by day, on the right the dictations of what
/// is chosen there, or those that hold all words of the search, and what became of one of them.
class HistoryWindow : public QWidget {
public:
    struct Services {
        Loop& loop;
        SessionStore& history;
        RecordingArchive& archive;
        DictationDeletion& deletion;
        AppSettings& settings;
        const Calendar& calendar;
        NotificationCenter& notifications;
        AudioPlayer& player;
        /// Types a text into the application in front, which this window is no more by then. None:
        /// it is not offered.
        std::function<void(std::string text)> typeAgain;
        std::function<void()> openSettings;
    };

    explicit HistoryWindow(Services services);
    ~HistoryWindow() override;

private:
    [[nodiscard]] QWidget* makeSearchRow();
    [[nodiscard]] QWidget* makeEntries();
    [[nodiscard]] QWidget* makeActions();
    void subscribe();

    // What is looked for.
    [[nodiscard]] SessionStore::Filter filterOf(const SessionTree::Choice& choice) const;
    [[nodiscard]] SessionStore::Filter filter() const;
    [[nodiscard]] bool isSearching() const;
    void searchEdited();
    void startSearch();
    asio::awaitable<void> search(SessionStore::Filter filter);
    asio::awaitable<void> searchOn(SessionStore::Filter filter);
    asio::awaitable<void> addNewest(SessionStore::Filter filter);
    asio::awaitable<void> loadSessions();
    asio::awaitable<void> tellOfTrouble();
    void fillApplications(const std::vector<VSession>& sessions);
    void showSessions();
    void entryLogged();

    // What is shown of it.
    [[nodiscard]] std::vector<std::string> selectedIds() const;
    [[nodiscard]] const TranscriptEntry* currentEntry() const;
    void showCurrent();
    [[nodiscard]] QString emptySentence() const;
    asio::awaitable<void> showReplaced(std::string id);
    asio::awaitable<void> goTo(std::string id);
    void showActions();

    // What is done to it.
    void copy();
    void typeAgain();
    void playOrStop();
    asio::awaitable<void> askToDelete(SessionTree::Choice choice);
    asio::awaitable<void> deleteEntries(std::vector<std::string> ids);
    asio::awaitable<void> deleteEverything();
    void offerUndo(DictationDeletion::Deleted deleted);
    asio::awaitable<void> undo(DictationDeletion::Deleted deleted);

    Services services_;
    EntryListModel* entryModel_;
    MessageBar* message_;
    QLineEdit* searchField_;
    QComboBox* applications_;
    SessionTree* sessions_;
    QListView* entries_;
    EntryDetail* detail_;
    QPushButton* play_;
    QPushButton* copy_;
    QPushButton* typeAgain_;
    QPushButton* delete_;
    QTimer* undoEnds_;
    std::vector<VSession> allSessions_;
    std::string wanted_;  // the entry to be selected once it is there
    bool wasSearching_ = false;
    bool isDeleting_ = false;
    RecordingPlayer recordings_;
    NotificationCenter::Subscription entryLogged_;
    NotificationCenter::Subscription entriesDeleted_;
    NotificationCenter::Subscription settingsChanged_;
    TaskHandle searching_;
    TaskHandle searchingOn_;
    TaskHandle loading_;
    TaskHandle following_;
    TaskHandle showingReplaced_;
    TaskScope tasks_;
};

}  // namespace quillet
