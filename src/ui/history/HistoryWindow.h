#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "app/DictationDeletion.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "platform/AudioPlayer.h"
#include "settings/AppSettings.h"
#include "ui/history/SessionTree.h"

class QComboBox;
class QLineEdit;

namespace quillet {

class EntryActions;
class EntryDetail;
class EntryList;
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
    void connectParts();
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
    void showCurrent();
    [[nodiscard]] QString emptySentence() const;
    asio::awaitable<void> showReplaced(std::string id);
    asio::awaitable<void> goTo(std::string id);

    // What is done to it.
    asio::awaitable<void> askToDelete(SessionTree::Choice choice);
    asio::awaitable<void> deleteEntries(std::vector<std::string> ids);
    asio::awaitable<void> deleteEverything();
    void offerUndo(DictationDeletion::Deleted deleted);
    asio::awaitable<void> undo(DictationDeletion::Deleted deleted);

    Services services_;
    MessageBar* message_;
    QLineEdit* searchField_;
    QComboBox* applications_;
    SessionTree* sessions_;
    EntryList* entries_;
    EntryDetail* detail_;
    EntryActions* actions_;
    std::vector<VSession> allSessions_;
    std::string wanted_;  // the entry to be selected once it is there
    bool wasSearching_ = false;
    bool isDeleting_ = false;
    NotificationCenter::Subscription entryLogged_;
    NotificationCenter::Subscription entriesDeleted_;
    NotificationCenter::Subscription recordingsChanged_;
    NotificationCenter::Subscription settingsChanged_;
    TaskHandle searching_;
    TaskHandle searchingOn_;
    TaskHandle loading_;
    TaskHandle following_;
    TaskHandle showingReplaced_;
    TaskScope tasks_;
};

}  // namespace quillet
