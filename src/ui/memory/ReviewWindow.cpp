#include "ui/memory/ReviewWindow.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QTextBrowser>
#include <QTreeView>
#include <QVBoxLayout>
#include <algorithm>
#include <ranges>

#include "ui/kit/Choice.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"
#include "ui/memory/MemoryPages.h"
#include "ui/memory/SuggestionModel.h"

namespace quillet {

using namespace NightlyReview;

namespace {

constexpr QSize usualSize(860, 540);
constexpr int dictationsShown = 20;

/// Its place in the state, from 1; none when it is there no more.
std::optional<std::size_t> numberOf(const State& state, const std::string& id) {
    const auto found = std::ranges::find(state.suggestions, id, &Suggestion::id);
    if (found == state.suggestions.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - state.suggestions.begin()) + 1;
}

/// How the last attempt went, behind a line break; the rest of it stands with the past reviews.
QString reportLine(const State& state) {
    const auto report = shownReport(state);
    if (report.empty())
        return {};
    return QLatin1Char('\n') + fromText(report.substr(0, report.find('\n')));
}

}  // namespace

ReviewWindow::ReviewWindow(Services services)
    : services_(services),
      messages_(new MessageBar),
      model_(new SuggestionModel(this)),
      tasks_(services_.loop) {
    setWindowTitle(label("Nightly Review"));
    resize(usualSize);
    tabs_ = new QTabWidget;
    tabs_->addTab(makeWaiting(), QString());
    tabs_->addTab(makePast(), label("&Past Reviews"));
    memory_ = makePage(label("What is remembered of you"));
    tabs_->addTab(memory_, label("&Remembered"));
    auto* column = new QVBoxLayout(this);
    column->addWidget(messages_);
    column->addWidget(makeHead());
    column->addWidget(tabs_, 1);
    changed_ = services_.notifications.subscribe(std::string(reviewChangedNotification),
                                                 [this] { update(); });
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { update(); });
    update();
    tasks_.spawn(load());
}

// --- How it looks ---

QTextBrowser* ReviewWindow::makePage(const QString& name) {
    auto* page = new QTextBrowser;
    page->setOpenLinks(false);
    page->setAccessibleName(name);
    return page;
}

QWidget* ReviewWindow::makeHead() {
    state_ = new QLabel;
    state_->setWordWrap(true);
    progress_ = new QProgressBar;
    progress_->setAccessibleName(label("How much of the review is done"));
    undo_ = new QPushButton(label("&Undo Last Review…"));
    run_ = new QPushButton(label("Run &Now"));
    cancel_ = new QPushButton(label("&Cancel"));
    connect(undo_, &QPushButton::clicked, this, [this] { undoLastRun(); });
    connect(run_, &QPushButton::clicked, this, [this] { run(); });
    connect(cancel_, &QPushButton::clicked, this, [this] { services_.reviewer.cancel(); });
    auto* head = new QWidget;
    auto* row = new QHBoxLayout(head);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(state_, 1);
    row->addWidget(progress_);
    row->addWidget(undo_);
    row->addWidget(run_);
    row->addWidget(cancel_);
    return head;
}

QWidget* ReviewWindow::makeWaiting() {
    suggestions_ = new QTreeView;
    suggestions_->setModel(model_);
    suggestions_->setRootIsDecorated(false);
    suggestions_->setUniformRowHeights(true);
    suggestions_->setAllColumnsShowFocus(true);
    suggestions_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    suggestions_->setAccessibleName(label("Suggestions that wait for you"));
    suggestions_->header()->setSectionResizeMode(QHeaderView::Stretch);
    suggestion_ = makePage(label("The suggestion and where you said it"));
    connect(suggestions_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { showSuggestion(); });
    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(suggestions_);
    split->addWidget(suggestion_);
    split->setChildrenCollapsible(false);
    auto* tab = new QWidget;
    auto* column = new QVBoxLayout(tab);
    column->addWidget(split, 1);
    column->addWidget(makeAnswers());
    return tab;
}

QWidget* ReviewWindow::makeAnswers() {
    auto* accept = new QPushButton(label("&Accept"));
    auto* dismiss = new QPushButton(label("&Dismiss"));
    auto* acceptAll = new QPushButton(label("Accept All…"));
    auto* dismissAll = new QPushButton(label("Dismiss All…"));
    needSelection_ = {accept, dismiss};
    needWaiting_ = {acceptAll, dismissAll};
    connect(accept, &QPushButton::clicked, this, [this] { settleSelected(&ReviewLedger::accept); });
    connect(dismiss, &QPushButton::clicked, this,
            [this] { settleSelected(&ReviewLedger::dismiss); });
    connect(acceptAll, &QPushButton::clicked, this, [this] {
        settleAll(counted("Accept {} suggestion?", "Accept {} suggestions?", model_->count()),
                  label("Accept All"), &ReviewLedger::accept);
    });
    connect(dismissAll, &QPushButton::clicked, this, [this] {
        settleAll(counted("Dismiss {} suggestion?", "Dismiss {} suggestions?", model_->count()),
                  label("Dismiss All"), &ReviewLedger::dismiss);
    });
    auto* answers = new QWidget;
    auto* row = new QHBoxLayout(answers);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(accept);
    row->addWidget(dismiss);
    row->addStretch(1);
    row->addWidget(acceptAll);
    row->addWidget(dismissAll);
    return answers;
}

QWidget* ReviewWindow::makePast() {
    runs_ = new QListWidget;
    runs_->setAccessibleName(label("Past reviews"));
    runPage_ = makePage(label("What the review did"));
    onChosen(*runs_, [this] { showRun(chosenIn(*runs_).row()); });
    auto* split = new QSplitter;
    split->addWidget(runs_);
    split->addWidget(runPage_);
    split->setChildrenCollapsible(false);
    split->setStretchFactor(1, 1);
    auto* tab = new QWidget;
    (new QVBoxLayout(tab))->addWidget(split);
    return tab;
}

// --- What it shows ---

asio::awaitable<void> ReviewWindow::load() {
    co_await services_.reviewer.ledger().load();
    loaded_ = true;
    update();
}

void ReviewWindow::update() {
    updateHead();
    if (!loaded_)
        return;
    updateWaiting();
    updateRuns();
    updateMemory();
}

void ReviewWindow::updateWaiting() {
    if (!model_->show(services_.reviewer.state()))
        return;
    const auto count = model_->count();
    tabs_->setTabText(
        0, count == 0 ? label("&Waiting for You") : label("&Waiting for You ({})", count));
    if (count > 0 && !suggestions_->currentIndex().isValid())
        suggestions_->setCurrentIndex(model_->index(0, 0));
    showSuggestion();
}

void ReviewWindow::updateMemory() {
    const auto& memory = services_.reviewer.state().memory;
    if (shownMemory_ == memory)
        return;
    shownMemory_ = memory;
    const bool isEmpty = memory.profile.empty() && memory.terms.empty();
    memory_->setHtml(isEmpty
                         ? label("Nothing is remembered of you yet. The first review that finds "
                                 "something writes it here.")
                         : memoryPage(memory));
}

void ReviewWindow::updateHead() {
    const auto& reviewer = services_.reviewer;
    const bool isRunning = reviewer.running();
    const auto [read, all] = reviewer.progress();
    run_->setVisible(!isRunning);
    cancel_->setVisible(isRunning);
    progress_->setVisible(isRunning);
    progress_->setRange(0, static_cast<int>(all));
    progress_->setValue(static_cast<int>(read));
    const auto& runs = reviewer.state().runs;
    undo_->setEnabled(!isRunning && !runs.empty() && !runs.back().undone);
    if (isRunning)
        state_->setText(label("The day's dictations are read back…"));
    else if (!services_.settings.record().rememberWhatISay)
        state_->setText(label("Memory is paused (Memory & Knowledge)."));
    else if (const auto last = reviewer.state().lastRun)
        state_->setText(
            label("Last review: {}", toText(dayAndTimeText(*last, services_.calendar))) +
            reportLine(reviewer.state()));
    else
        state_->setText(label("No review yet. It runs every night, once it is switched on in "
                              "Settings.") +
                        reportLine(reviewer.state()));
}

void ReviewWindow::updateRuns() {
    const auto& runs = services_.reviewer.state().runs;
    const auto shown = std::pair(runs.size(), !runs.empty() && runs.back().undone);
    if (shownRuns_ == shown)
        return;
    shownRuns_ = shown;
    const auto row = std::max(chosenIn(*runs_).row(), 0);
    runs_->clear();
    for (const auto& run : runs | std::views::reverse)
        runs_->addItem(dayAndTimeText(run.date, services_.calendar));
    if (runs.empty())
        runPage_->setHtml(label("Here will stand what each review learned and asked about."));
    runs_->setCurrentRow(std::min(row, runs_->count() - 1));
}

void ReviewWindow::showRun(int row) {
    const auto& state = services_.reviewer.state();
    const auto index = static_cast<std::size_t>(row);
    if (row < 0 || index >= state.runs.size())
        return;
    const auto& run = state.runs[state.runs.size() - 1 - index];
    runPage_->setHtml(runPage(run, services_.calendar));
}

void ReviewWindow::showSuggestion() {
    const auto rows = suggestions_->selectionModel()->selectedRows();
    for (auto* button : needSelection_)
        button->setEnabled(!rows.isEmpty());
    for (auto* button : needWaiting_)
        button->setEnabled(model_->count() > 0);
    lookUp_.cancel();
    if (rows.size() == 1) {
        const auto& one = model_->at(rows.front().row());
        suggestion_->setHtml(suggestionPage(one, {}, services_.calendar));
        lookUp_ = tasks_.spawn(lookUp(one));
    } else if (rows.isEmpty()) {
        suggestion_->setHtml(
            label("Nothing waits for you. What a review is not sure about stands "
                  "here, for you to accept or dismiss."));
    } else {
        suggestion_->setHtml(
            counted("{} suggestion is selected.", "{} suggestions are selected.", rows.size()));
    }
}

/// The suggestion's text stands in each of its dictations.
asio::awaitable<void> ReviewWindow::lookUp(Suggestion suggestion) {
    SessionStore::Filter filter;
    filter.text = suggestion.heard;
    filter.until = suggestion.date;
    auto found = co_await services_.history.search(std::move(filter));
    std::erase_if(found, [&](const TranscriptEntry& entry) {
        return !suggestion.entries.empty() &&
               std::ranges::find(suggestion.entries, entry.id) == suggestion.entries.end();
    });
    found.resize(std::min<std::size_t>(found.size(), dictationsShown));
    suggestion_->setHtml(suggestionPage(suggestion, found, services_.calendar));
}

// --- What it does ---

void ReviewWindow::run() {
    messages_->clear();
    tasks_.spawn(runToEnd());
}

asio::awaitable<void> ReviewWindow::runToEnd() {
    const auto run = co_await services_.reviewer.run();
    if (!run)
        messages_->showError(label(run.error()));
    else if (!*run)
        messages_->showInfo(label("Nothing new to review."));
    else
        messages_->showInfo(
            counted("{} dictation was read.", "{} dictations were read.", (*run)->reviewed));
}

void ReviewWindow::settleSelected(Answer answer) {
    std::vector<Suggestion> chosen;
    for (const auto& index : suggestions_->selectionModel()->selectedRows())
        chosen.push_back(model_->at(index.row()));
    settle(std::move(chosen), answer);
}

void ReviewWindow::settleAll(const QString& sentence, const QString& action, Answer answer) {
    std::vector<Suggestion> all;
    all.reserve(static_cast<std::size_t>(model_->count()));
    for (int row = 0; row < model_->count(); ++row)
        all.push_back(model_->at(row));
    askFirst(this, {sentence, QString(), action}, [this, all, answer] { settle(all, answer); });
}

void ReviewWindow::settle(std::vector<Suggestion> chosen, Answer answer) {
    messages_->clear();
    if (!chosen.empty())
        tasks_.spawn(settleOne(std::move(chosen), answer));
}

/// One after another, since each has its own fate.
asio::awaitable<void> ReviewWindow::settleOne(std::vector<Suggestion> chosen, Answer answer) {
    auto& ledger = services_.reviewer.ledger();
    for (const auto& one : chosen) {
        const auto number = numberOf(ledger.state(), one.id);
        if (!number)
            continue;
        const auto done = co_await (ledger.*answer)(*number);
        if (!done) {
            messages_->showError(label(done.error()));
            co_return;
        }
    }
    const auto& last = chosen.back();
    if (answer == &ReviewLedger::accept && chosen.size() == 1 && last.kind == Kind::term)
        messages_->showInfo(label("“{}” is written from now on.", last.written), label("Take Back"),
                            [this, id = last.id] { tasks_.spawn(takeBack(id)); });
}

asio::awaitable<void> ReviewWindow::takeBack(std::string id) {
    auto& ledger = services_.reviewer.ledger();
    const auto number = numberOf(ledger.state(), id);
    if (!number)
        co_return;
    const auto done = co_await ledger.undo(*number);
    if (!done)
        messages_->showError(label(done.error()));
}

void ReviewWindow::undoLastRun() {
    const Question question{
        label("Undo the last review?"),
        label("What it learned by itself is forgotten, what it removed from the vocabulary comes "
              "back, and what is remembered of you is as before. What you accepted stays."),
        label("Undo")};
    askFirst(this, question, [this] { tasks_.spawn(undo()); });
}

asio::awaitable<void> ReviewWindow::undo() {
    const auto done = co_await services_.reviewer.ledger().undoLastRun();
    if (done)
        messages_->showInfo(label("The last review was undone."));
    else
        messages_->showError(label(done.error()));
}

}  // namespace quillet
