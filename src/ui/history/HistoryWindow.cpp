#include "ui/history/HistoryWindow.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTimer>
#include <QVBoxLayout>
#include <set>

#include "base/async/Checkpoint.h"
#include "base/text/CaselessWord.h"
#include "ui/history/EntryDetail.h"
#include "ui/history/RetentionLine.h"
#include "ui/history/SessionTree.h"
#include "ui/history/StepAside.h"
#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

constexpr int pageSize = 100;
constexpr int mostSessions = 5'000;
constexpr int mostDeleted = 1'000'000;
constexpr int undoMs = 30'000;
constexpr QSize usualSize{980, 560};
constexpr int sessionsWidth = 270;
constexpr int entriesHeight = 220;

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
      entryModel_(new EntryListModel(services_.calendar, this)),
      message_(new MessageBar),
      searchField_(new QLineEdit),
      applications_(new QComboBox),
      sessions_(new SessionTree(services_.calendar)),
      entries_(new QListView),
      detail_(new EntryDetail(services_.calendar)),
      play_(new QPushButton(label("&Play"))),
      copy_(new QPushButton(label("&Copy"))),
      typeAgain_(new QPushButton(label("&Type Again"))),
      delete_(new QPushButton(label("&Delete"))),
      undoEnds_(new QTimer(this)),
      recordings_({services_.loop, services_.archive, services_.player},
                  {[this] { showActions(); }, [](auto, auto) {},
                   [this](const QString& sentence) { message_->showError(sentence); }}),
      tasks_(services_.loop) {
    setWindowTitle(label("History"));
    resize(usualSize);
    auto* right = new QSplitter(Qt::Vertical);
    right->addWidget(makeEntries());
    auto* below = new QWidget;
    auto* detailColumn = new QVBoxLayout(below);
    detailColumn->setContentsMargins(0, 0, 0, 0);
    detailColumn->addWidget(detail_, 1);
    detailColumn->addWidget(makeActions());
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
    undoEnds_->setSingleShot(true);
    connect(undoEnds_, &QTimer::timeout, message_, &MessageBar::clear);
    subscribe();
    showActions();
    loading_ = tasks_.spawn(loadSessions());
    startSearch();
    searchField_->setFocus();
}

HistoryWindow::~HistoryWindow() = default;

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

QWidget* HistoryWindow::makeEntries() {
    entries_->setModel(entryModel_);
    entries_->setAccessibleName(label("Dictations"));
    entries_->setItemDelegate(new TwoLineDelegate(entries_));
    entries_->setUniformItemSizes(true);
    entries_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    entryModel_->wantsMore = [this] {
        auto next = filter();
        const auto& last = entryModel_->entries().back();
        next.before = SessionStore::Filter::Place{last.timestamp, last.id};
        searchingOn_ = tasks_.spawn(searchOn(std::move(next)));
    };
    connect(entries_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this] { showCurrent(); });
    connect(entries_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { showActions(); });
    detail_->showEntry = [this](std::string id) { tasks_.spawn(goTo(std::move(id))); };
    return entries_;
}

QWidget* HistoryWindow::makeActions() {
    const auto onKey = [this](const QKeySequence& keys, QPushButton* button) {
        auto* shortcut = new QShortcut(keys, entries_);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, button, &QPushButton::click);
    };
    onKey(QKeySequence::Delete, delete_);
    onKey(QKeySequence::Copy, copy_);
    onKey(Qt::Key_Space, play_);
    connect(copy_, &QPushButton::clicked, this, [this] { copy(); });
    connect(typeAgain_, &QPushButton::clicked, this, [this] { typeAgain(); });
    connect(play_, &QPushButton::clicked, this, [this] { playOrStop(); });
    connect(delete_, &QPushButton::clicked, this,
            [this] { tasks_.spawn(deleteEntries(selectedIds())); });
    typeAgain_->setVisible(static_cast<bool>(services_.typeAgain));
    play_->setToolTip(label("Plays the recording that was kept of this dictation"));
    typeAgain_->setToolTip(label("Types the text into the window behind this one"));
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(play_);
    layout->addStretch(1);
    for (auto* button : {copy_, typeAgain_, delete_})
        layout->addWidget(button);
    for (auto* button : {play_, copy_, typeAgain_, delete_})
        button->setAutoDefault(false);
    return row;
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
    if (const auto* entry = currentEntry(); entry != nullptr && wanted_.empty())
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
    entryModel_->setEntries(std::move(page), hasMore);
    auto place = entryModel_->indexOf(std::exchange(wanted_, {}));
    if (!place.isValid() && !isEmpty)
        place = entryModel_->index(0);
    entries_->setCurrentIndex(place);
    if (isEmpty) {
        showCurrent();
        co_await tellOfTrouble();
    }
}

asio::awaitable<void> HistoryWindow::searchOn(SessionStore::Filter filter) {
    auto page = co_await services_.history.search(filter);
    co_await checkpoint();
    const bool hasMore = std::cmp_equal(page.size(), filter.limit);
    entryModel_->append(std::move(page), hasMore);
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
    if (entryModel_->rowCount() == 0) {
        startSearch();
        return;
    }
    following_.cancel();
    following_ = tasks_.spawn(addNewest(filter()));
}

asio::awaitable<void> HistoryWindow::addNewest(SessionStore::Filter filter) {
    auto page = co_await services_.history.search(std::move(filter));
    co_await checkpoint();
    entryModel_->addNewest(std::move(page));
}

asio::awaitable<void> HistoryWindow::loadSessions() {
    auto sessions = co_await services_.history.recentSessions(mostSessions);
    co_await checkpoint();
    allSessions_ = std::move(sessions);
    fillApplications(allSessions_);
    showSessions();
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

std::vector<std::string> HistoryWindow::selectedIds() const {
    auto selected = entries_->selectionModel()->selectedIndexes();
    std::ranges::sort(selected, {}, &QModelIndex::row);
    std::vector<std::string> ids;
    for (const auto& index : selected)
        ids.push_back(entryModel_->entryAt(index)->id);
    return ids;
}

const TranscriptEntry* HistoryWindow::currentEntry() const {
    return entryModel_->entryAt(entries_->currentIndex());
}

QString HistoryWindow::emptySentence() const {
    if (isSearching())
        return label("Nothing that you said holds these words.");
    if (!services_.settings.record().sessionLoggingEnabled)
        return label(
            "The history is off. Switch it on in the settings to find here what you said.");
    return label("What you dictate appears here. There is nothing yet.");
}

void HistoryWindow::showCurrent() {
    const auto* entry = currentEntry();
    if (entry == nullptr) {
        detail_->showNothing(entryModel_->rowCount() == 0 ? emptySentence() : QString());
    } else {
        detail_->show(*entry);
        showingReplaced_.cancel();
        if (entry->replaces)
            showingReplaced_ = tasks_.spawn(showReplaced(*entry->replaces));
    }
    showActions();
}

asio::awaitable<void> HistoryWindow::showReplaced(std::string id) {
    const auto replaced = co_await services_.history.entry(std::move(id));
    co_await checkpoint();
    detail_->showReplaced(replaced);
}

/// To an entry that is perhaps not among those that are shown.
asio::awaitable<void> HistoryWindow::goTo(std::string id) {
    if (const auto place = entryModel_->indexOf(id); place.isValid()) {
        entries_->setCurrentIndex(place);
        co_return;
    }
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

void HistoryWindow::showActions() {
    const auto* entry = currentEntry();
    const bool isPlaying = recordings_.playing().has_value();
    const bool isRecorded = entry != nullptr && services_.archive.item(entry->id).has_value();
    play_->setText(isPlaying ? label("S&top") : label("&Play"));
    play_->setEnabled(isPlaying || isRecorded);
    copy_->setEnabled(entry != nullptr);
    typeAgain_->setEnabled(entry != nullptr && !entry->finalText.empty());
    delete_->setEnabled(entries_->selectionModel()->hasSelection());
}

// ---- What is done to it

void HistoryWindow::copy() {
    QStringList texts;
    for (const auto& id : selectedIds()) {
        const auto* entry = entryModel_->entryAt(entryModel_->indexOf(id));
        texts << fromText(entry->finalText.empty() ? entry->rawText : entry->finalText);
    }
    QApplication::clipboard()->setText(texts.join(QLatin1Char('\n')));
    message_->showInfo(label("Copied."));
}

void HistoryWindow::typeAgain() {
    stepAside(*this, *message_,
              [type = services_.typeAgain, text = currentEntry()->finalText] { type(text); });
}

void HistoryWindow::playOrStop() {
    if (recordings_.playing())
        recordings_.stop();
    else if (const auto* entry = currentEntry())
        recordings_.play(entry->id);
}

asio::awaitable<void> HistoryWindow::deleteEntries(std::vector<std::string> ids) {
    recordings_.stop();
    const auto next = entries_->currentIndex().row();
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
    entryModel_->remove(ids);
    if (const auto rows = entryModel_->rowCount(); rows > 0)
        entries_->setCurrentIndex(entryModel_->index(std::min(next, rows - 1)));
    showCurrent();
    offerUndo(std::move(*deleted));
}

void HistoryWindow::offerUndo(DictationDeletion::Deleted deleted) {
    const auto count = static_cast<long>(deleted.dictations.entries.size());
    const auto shared = std::make_shared<DictationDeletion::Deleted>(std::move(deleted));
    message_->showInfo(counted("{} dictation deleted", "{} dictations deleted", count),
                       label("&Undo"), [this, shared] {
                           undoEnds_->stop();
                           tasks_.spawn(undo(std::move(*shared)));
                       });
    undoEnds_->start(undoMs);
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
        .detail =
            isEverything
                ? label("The recordings that were kept of them go too. This cannot be undone.")
                : label("The recordings that were kept of them go too."),
        .action = label("Delete")};
    askFirst(this, question, [this, ids = std::move(ids), isEverything] {
        tasks_.spawn(isEverything ? deleteEverything() : deleteEntries(ids));
    });
}

asio::awaitable<void> HistoryWindow::deleteEverything() {
    recordings_.stop();
    if (co_await services_.deletion.eraseAll())
        message_->showInfo(label("The history is empty now."));
    else
        message_->showError(
            label("The history could not be changed. Close other programs that use its file, then "
                  "try again."));
}

}  // namespace quillet
