#include "ui/history/HistoryWindow.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QShortcut>
#include <QSplitter>
#include <QVBoxLayout>
#include <set>

#include "base/async/Checkpoint.h"
#include "base/text/CaselessWord.h"
#include "ui/history/EntryActions.h"
#include "ui/history/EntryDetail.h"
#include "ui/history/EntryList.h"
#include "ui/history/RetentionLine.h"
#include "ui/history/SessionTree.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

constexpr int pageSize = 100;
constexpr int mostSessions = 5'000;
constexpr int mostDeleted = 1'000'000;
constexpr std::chrono::seconds undoTime{30};
constexpr QSize usualSize{980, 560};
constexpr int sessionsWidth = 270;
constexpr int entriesHeight = 220;

QString leftBehind() {
    return label(
        "Deleted, but what the nightly review and the knowledge base took from it could not be "
        "taken out: see whether the disk is full.");
}

/// What changes meanwhile was not the user's doing.
class Quiet {
public:
    explicit Quiet(bool& flag) : flag_(flag), before_(std::exchange(flag, true)) {}
    ~Quiet() { flag_ = before_; }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    bool& flag_;
    bool before_;
};

}  // namespace

HistoryWindow::HistoryWindow(Services services)
    : services_(std::move(services)),
      message_(new MessageBar),
      searchField_(new QLineEdit),
      applications_(new QComboBox),
      sessions_(new SessionTree(services_.calendar)),
      entries_(new EntryList(services_.calendar)),
      detail_(new EntryDetail(services_.calendar)),
      actions_(new EntryActions(
          {services_.loop, services_.archive, services_.player, services_.typeAgain}, *entries_,
          *message_)),
      tasks_(services_.loop) {
    setWindowTitle(label("History"));
    resize(usualSize);
    auto* right = new QSplitter(Qt::Vertical);
    right->addWidget(entries_);
    auto* below = new QWidget;
    auto* detailColumn = new QVBoxLayout(below);
    detailColumn->setContentsMargins(0, 0, 0, 0);
    detailColumn->addWidget(detail_, 1);
    detailColumn->addWidget(actions_);
    right->addWidget(below);
    right->setSizes({entriesHeight, usualSize.height() - entriesHeight});
    right->setChildrenCollapsible(false);
    auto* both = new QSplitter;
    both->addWidget(sessions_);
    both->addWidget(right);
    both->setStretchFactor(1, 1);
    both->setSizes({sessionsWidth, usualSize.width() - sessionsWidth});
    both->setChildrenCollapsible(false);
    auto* column = new QVBoxLayout(this);
    column->addWidget(message_);
    column->addWidget(makeSearchRow());
    column->addWidget(both, 1);
    column->addWidget(
        new RetentionLine(services_.settings, services_.notifications, services_.openSettings));
    connectParts();
    subscribe();
    actions_->update();
    loading_ = tasks_.spawn(loadSessions());
    startSearch();
    searchField_->setFocus();
}

/// What may be playing speaks of the list.
HistoryWindow::~HistoryWindow() {
    tasks_.cancelAndJoin();
    delete actions_;
}

QWidget* HistoryWindow::makeSearchRow() {
    searchField_->setPlaceholderText(label("Search what you said"));
    searchField_->setAccessibleName(label("Search"));
    searchField_->setClearButtonEnabled(true);
    connect(searchField_, &QLineEdit::textChanged, this, [this] { searchEdited(); });
    auto* find = new QShortcut(QKeySequence(QKeySequence::Find), this);
    connect(find, &QShortcut::activated, searchField_, [this] {
        searchField_->setFocus(Qt::ShortcutFocusReason);
        searchField_->selectAll();
    });
    auto* down = new QShortcut(QKeySequence(Qt::Key_Down), searchField_);
    down->setContext(Qt::WidgetShortcut);
    connect(down, &QShortcut::activated, entries_, [this] { entries_->setFocus(); });
    applications_->addItem(label("All applications"));
    connect(applications_, &QComboBox::currentIndexChanged, this, [this] {
        showSessions();
        startSearch();
    });
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(searchField_, 1);
    auto* name = new QLabel(label("A&pplication:"));
    name->setBuddy(applications_);
    layout->addWidget(name);
    layout->addWidget(applications_);
    return row;
}

void HistoryWindow::connectParts() {
    entries_->entries().wantsMore = [this] {
        auto next = filter();
        const auto& last = entries_->entries().entries().back();
        next.before = SessionStore::Filter::Place{last.timestamp, last.id};
        searchingOn_ = tasks_.spawn(searchOn(std::move(next)));
    };
    entries_->chosen = [this] { showCurrent(); };
    actions_->wantsDeleted = [this] { tasks_.spawn(deleteEntries(entries_->selectedIds())); };
    detail_->showEntry = [this](std::string id) { tasks_.spawn(goTo(std::move(id))); };
}

void HistoryWindow::subscribe() {
    sessions_->chosen = [this] { startSearch(); };
    sessions_->wantsDeleted = [this](const SessionTree::Choice& choice) {
        tasks_.spawn(askToDelete(choice));
    };
    entryLogged_ = services_.notifications.subscribe(std::string(entryLoggedNotification),
                                                     [this] { entryLogged(); });
    entriesDeleted_ =
        services_.notifications.subscribe(std::string(entriesDeletedNotification), [this] {
            loading_.cancel();
            loading_ = tasks_.spawn(loadSessions());
            if (!isDeleting_)
                startSearch();
        });
    recordingsChanged_ = services_.notifications.subscribe(
        std::string(recordingsChangedNotification), [this] { actions_->update(); });
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { showCurrent(); });
}

// ---- What is looked for

SessionStore::Filter HistoryWindow::filterOf(const SessionTree::Choice& choice) const {
    SessionStore::Filter filter;
    if (applications_->currentIndex() > 0)
        filter.application = toText(applications_->currentText());
    filter.session = choice.session;
    if (choice.day) {
        const auto span = spanOf(*choice.day, services_.calendar);
        filter.from = span.first;
        filter.until = span.last;
    }
    filter.limit = pageSize;
    return filter;
}

SessionStore::Filter HistoryWindow::filter() const {
    auto filter = filterOf(sessions_->choice());
    filter.words = queryWords(toText(searchField_->text()));
    return filter;
}

bool HistoryWindow::isSearching() const {
    return !searchField_->text().trimmed().isEmpty();
}

void HistoryWindow::searchEdited() {
    // A search begins with everything; who then chooses a day searches that.
    if (isSearching() && !wasSearching_)
        sessions_->choose({});
    wasSearching_ = isSearching();
    startSearch();
}

void HistoryWindow::startSearch() {
    if (const auto* entry = entries_->current(); entry != nullptr && wanted_.empty())
        wanted_ = entry->id;
    searching_.cancel();
    searchingOn_.cancel();
    searching_ = tasks_.spawn(search(filter()));
}

asio::awaitable<void> HistoryWindow::search(SessionStore::Filter filter) {
    auto page = co_await services_.history.search(filter);
    co_await checkpoint();
    const bool isEmpty = page.empty();
    const bool hasMore = std::cmp_equal(page.size(), filter.limit);
    entries_->entries().setEntries(std::move(page), hasMore);
    if (!entries_->choose(std::exchange(wanted_, {})))
        entries_->chooseNear(0);
    if (isEmpty) {
        showCurrent();
        co_await tellOfTrouble();
    }
}

asio::awaitable<void> HistoryWindow::searchOn(SessionStore::Filter filter) {
    auto page = co_await services_.history.search(filter);
    co_await checkpoint();
    const bool hasMore = std::cmp_equal(page.size(), filter.limit);
    entries_->entries().append(std::move(page), hasMore);
}

asio::awaitable<void> HistoryWindow::tellOfTrouble() {
    const auto trouble = co_await services_.history.lastError();
    co_await checkpoint();
    if (trouble)
        message_->showError(
            label("The history cannot be read: {}. Close other programs that use "
                  "its file, or free some space, then open this window again.",
                  *trouble));
}

void HistoryWindow::entryLogged() {
    loading_.cancel();
    loading_ = tasks_.spawn(loadSessions());
    if (entries_->entries().rowCount() == 0) {
        startSearch();
        return;
    }
    following_.cancel();
    following_ = tasks_.spawn(addNewest(filter()));
}

asio::awaitable<void> HistoryWindow::addNewest(SessionStore::Filter filter) {
    auto page = co_await services_.history.search(std::move(filter));
    co_await checkpoint();
    entries_->entries().addNewest(std::move(page));
}

asio::awaitable<void> HistoryWindow::loadSessions() {
    auto sessions = co_await services_.history.recentSessions(mostSessions);
    co_await checkpoint();
    allSessions_ = std::move(sessions);
    const auto shown = [this] {
        return std::pair(sessions_->choice(), applications_->currentText());
    };
    const auto before = shown();
    fillApplications(allSessions_);
    showSessions();
    // What was chosen may be gone.
    if (shown() != before)
        startSearch();
    else
        showCurrent();
}

void HistoryWindow::fillApplications(const std::vector<VSession>& sessions) {
    std::set<QString> names;
    for (const auto& session : sessions) {
        if (session.appDisplayName || session.appBundleID)
            names.insert(applicationOf(session));
    }
    const QSignalBlocker quiet(applications_);
    const auto chosen =
        applications_->currentIndex() > 0 ? applications_->currentText() : QString();
    applications_->clear();
    applications_->addItem(label("All applications"));
    for (const auto& name : names)
        applications_->addItem(name);
    applications_->setCurrentIndex(chosen.isEmpty() ? 0
                                                    : std::max(0, applications_->findText(chosen)));
}

void HistoryWindow::showSessions() {
    sessions_->setSessions(
        allSessions_, applications_->currentIndex() > 0 ? applications_->currentText() : QString());
}

// ---- What is shown of it

QString HistoryWindow::emptySentence() const {
    if (isSearching())
        return label("Nothing that you said holds these words.");
    if (!services_.settings.record().sessionLoggingEnabled)
        return label(
            "The history is off. Switch it on in the settings to find here what you said.");
    return label("What you dictate appears here. There is nothing yet.");
}

void HistoryWindow::showCurrent() {
    const auto* entry = entries_->current();
    showingReplaced_.cancel();
    if (entry == nullptr) {
        detail_->showNothing(entries_->entries().rowCount() == 0 ? emptySentence() : QString());
    } else {
        detail_->show(*entry);
        if (entry->replaces)
            showingReplaced_ = tasks_.spawn(showReplaced(*entry->replaces));
    }
    actions_->update();
}

asio::awaitable<void> HistoryWindow::showReplaced(std::string id) {
    const auto replaced = co_await services_.history.entry(std::move(id));
    co_await checkpoint();
    detail_->showReplaced(replaced);
}

/// To an entry that is perhaps not among those that are shown.
asio::awaitable<void> HistoryWindow::goTo(std::string id) {
    if (entries_->choose(id))
        co_return;
    const auto entry = co_await services_.history.entry(id);
    co_await checkpoint();
    if (!entry)
        co_return;
    wanted_ = id;
    const QSignalBlocker quietField(searchField_);
    const QSignalBlocker quietBox(applications_);
    searchField_->clear();
    wasSearching_ = false;
    applications_->setCurrentIndex(0);
    showSessions();
    sessions_->choose({.day = {}, .session = entry->sessionID});
    startSearch();
}

// ---- What is done to it

asio::awaitable<void> HistoryWindow::deleteEntries(std::vector<std::string> ids) {
    // A second stroke of the key must not take the place of what the first can undo.
    if (isDeleting_ || ids.empty())
        co_return;
    actions_->stopPlaying();
    const auto next = entries_->currentRow();
    std::optional<DictationDeletion::Deleted> deleted;
    {
        const Quiet quiet(isDeleting_);
        deleted = co_await services_.deletion.erase(ids);
    }
    if (!deleted) {
        message_->showError(
            label("The history could not be changed. Close other programs that use its file, then "
                  "try again."));
        co_return;
    }
    entries_->entries().remove(ids);
    entries_->chooseNear(next);
    showCurrent();
    if (!deleted->isComplete)
        message_->showError(leftBehind());
    else if (!deleted->dictations.entries.empty())
        offerUndo(std::move(*deleted));
}

void HistoryWindow::offerUndo(DictationDeletion::Deleted deleted) {
    const auto count = static_cast<long>(deleted.dictations.entries.size());
    const auto shared = std::make_shared<DictationDeletion::Deleted>(std::move(deleted));
    message_->showInfo(
        counted("{} dictation deleted", "{} dictations deleted", count), label("&Undo"),
        [this, shared] { tasks_.spawn(undo(std::move(*shared))); }, undoTime);
}

asio::awaitable<void> HistoryWindow::undo(DictationDeletion::Deleted deleted) {
    if (!deleted.dictations.entries.empty())
        wanted_ = deleted.dictations.entries.front().id;
    if (!co_await services_.deletion.restore(std::move(deleted)))
        message_->showError(
            label("Not everything could be put back. See whether the disk is full."));
    startSearch();
}

asio::awaitable<void> HistoryWindow::askToDelete(SessionTree::Choice choice) {
    auto chosen = filterOf(choice);
    chosen.limit = mostDeleted;
    std::vector<std::string> ids;
    for (auto& entry : co_await services_.history.search(chosen))
        ids.push_back(std::move(entry.id));
    co_await checkpoint();
    const bool isEverything = choice == SessionTree::Choice() && !chosen.application;
    const Question question{
        .sentence =
            counted("Delete {} dictation?", "Delete {} dictations?", static_cast<long>(ids.size())),
        .detail = isEverything ? label("The recordings that were kept of them go too, and what the "
                                       "knowledge base quotes from them. This cannot be undone.")
                               : label("The recordings that were kept of them go too, and what the "
                                       "knowledge base quotes from them."),
        .action = label("Delete")};
    askFirst(this, question, [this, ids = std::move(ids), isEverything] {
        if (isDeleting_)
            message_->showError(
                label("Another deletion is still under way. Try again in a moment."));
        else
            tasks_.spawn(isEverything ? deleteEverything() : deleteEntries(ids));
    });
}

asio::awaitable<void> HistoryWindow::deleteEverything() {
    actions_->stopPlaying();
    switch (co_await services_.deletion.eraseAll()) {
        case DictationDeletion::Outcome::done:
            message_->showInfo(label("The history is empty now."));
            break;
        case DictationDeletion::Outcome::partly:
            message_->showError(leftBehind());
            break;
        case DictationDeletion::Outcome::failed:
            message_->showError(
                label("The history could not be changed. Close other programs that use its file, "
                      "then try again."));
    }
}

}  // namespace quillet
