#pragma once

#include <QWidget>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "memory/NightlyReviewer.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"

class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTabWidget;
class QTextBrowser;
class QTreeView;

namespace quillet {

class MessageBar;
class SuggestionModel;

/// What the nightly review found: what waits for the user's yes or no, what past reviews did, and
/// what is remembered.
class ReviewWindow final : public QWidget {
public:
    struct Services {
        Loop& loop;
        NightlyReviewer& reviewer;
        SessionStore& history;
        AppSettings& settings;
        const Calendar& calendar;
        NotificationCenter& notifications;
    };

    explicit ReviewWindow(Services services);

private:
    using Answer = asio::awaitable<ReviewLedger::Done> (ReviewLedger::*)(std::size_t);

    [[nodiscard]] QWidget* makeHead();
    [[nodiscard]] QWidget* makeWaiting();
    [[nodiscard]] QWidget* makeAnswers();
    [[nodiscard]] QWidget* makePast();
    [[nodiscard]] static QTextBrowser* makePage(const QString& name);

    void update();
    void updateHead();
    void updateWaiting();
    void updateMemory();
    void updateRuns();
    void showRun(int row);
    void showSuggestion();

    void run();
    void settleSelected(Answer answer);
    void settleAll(const QString& sentence, const QString& action, Answer answer);
    void settle(std::vector<NightlyReview::Suggestion> chosen, Answer answer);
    void undoLastRun();

    asio::awaitable<void> load();
    asio::awaitable<void> runToEnd();
    asio::awaitable<void> settleOne(std::vector<NightlyReview::Suggestion> chosen, Answer answer);
    asio::awaitable<void> takeBack(std::string id);
    asio::awaitable<void> undo();
    asio::awaitable<void> lookUp(NightlyReview::Suggestion suggestion);

    Services services_;
    MessageBar* messages_;
    QLabel* state_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QPushButton* run_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QPushButton* undo_ = nullptr;
    QTabWidget* tabs_ = nullptr;
    SuggestionModel* model_;
    QTreeView* suggestions_ = nullptr;
    QTextBrowser* suggestion_ = nullptr;
    std::vector<QPushButton*> needSelection_;
    std::vector<QPushButton*> needWaiting_;
    QListWidget* runs_ = nullptr;
    QTextBrowser* runPage_ = nullptr;
    QTextBrowser* memory_ = nullptr;
    bool loaded_ = false;
    std::optional<NightlyReview::Memory> shownMemory_;
    std::optional<std::pair<std::size_t, bool>> shownRuns_;  // how many, and whether undone
    NotificationCenter::Subscription changed_;
    NotificationCenter::Subscription settingsChanged_;
    TaskHandle lookUp_;
    TaskScope tasks_;
};

}  // namespace quillet
