#include "ui/settings/MemoryPage.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

template <class State>
QString lastTime(const Calendar& calendar, const State& state) {
    if (!state.lastRun && !state.report)
        return label("Not yet.");
    const auto text = fromText(shownReport(state));
    return state.lastRun ? dayAndTimeText(*state.lastRun, calendar) + QStringLiteral(" — ") + text
                         : text;
}

}  // namespace

MemoryPage::MemoryPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(std::move(services)), tasks_(services_.loop) {
    addSwitches();
    addNight();
    on(reviewChangedNotification, [this] { showState(); });
    on(knowledgeChangedNotification, [this] { showState(); });
    follow([this] { showState(); });
}

void MemoryPage::addSwitches() {
    auto* form = addSection(label("Memory & Knowledge"));
    addSwitch(
        *form, "rememberWhatISay", label("Remember what I say"),
        label("While this is off, the nightly review and the knowledge base learn nothing and "
              "stay as they are."));
    auto* review = addSwitch(
        *form, "nightlyReview", label("Review the day's dictations every night"),
        label(
            "After 3:00, when the Mac is idle and on power, the day's dictations are read back as "
            "a whole — the kept recordings transcribed again on your server — by your LLM. Words "
            "it is sure about go into the vocabulary; the rest waits here for you."));
    addNote(
        *form,
        label("Each night, what you said and your meetings are distilled into notes on sales, "
              "clients, commitments, decisions, lessons, know-how and ideas — richer every day. "
              "Private: on this Mac and in your iCloud; your AI reads it over MCP."));
    missing_ = addNote(*form, {});
    follow([this, review] { review->setEnabled(record().rememberWhatISay); });
}

void MemoryPage::addNight() {
    auto* form = addSection(label("Last Night"));
    review_ = newNote({});
    knowledge_ = newNote({});
    form->addRow(label("Nightly review:"), review_);
    form->addRow(label("Knowledge:"), knowledge_);
    run_ = new QPushButton(label("&Run Now"));
    auto* review = new QPushButton(label("Open &Nightly Review"));
    auto* knowledge = new QPushButton(label("Open &Knowledge"));
    auto* row = new QHBoxLayout;
    cancel_ = new QPushButton(label("&Cancel"));
    for (auto* button : {run_, cancel_, review, knowledge})
        row->addWidget(button);
    row->addStretch();
    form->addRow(row);
    progress_ = new QProgressBar;
    progress_->setRange(0, 0);
    progress_->setAccessibleName(label("The night's work is being done"));
    form->addRow(progress_);
    connect(run_, &QPushButton::clicked, this, [this] { tasks_.spawn(run()); });
    connect(cancel_, &QPushButton::clicked, this, &MemoryPage::cancel);
    connect(review, &QPushButton::clicked, this, [this] { services_.open(WindowKind::review); });
    connect(knowledge, &QPushButton::clicked, this,
            [this] { services_.open(WindowKind::knowledge); });
}

bool MemoryPage::isRunning() const {
    return isAsked_ || services_.reviewer.running() || services_.knowledge.running();
}

void MemoryPage::showState() {
    QStringList missing;
    if (!services_.llm.isConfigured())
        missing << label("Both need the language model; set it up in Writing.");
    if (!record().sessionLoggingEnabled)
        missing << label("Turn on session history to review it.");
    missing_->setText(missing.join(QLatin1Char('\n')));
    missing_->setVisible(!missing.isEmpty());
    run_->setEnabled(record().rememberWhatISay && services_.llm.isConfigured());
    auto* offered = isRunning() ? cancel_ : run_;
    auto* gone = isRunning() ? run_ : cancel_;
    offered->show();
    if (gone->hasFocus())
        offered->setFocus();
    gone->hide();
    progress_->setVisible(isRunning());
    const auto& state = services_.reviewer.state();
    showSentence(*review_, lastTime(services_.calendar, state), review_->width());
    looking_.cancel();
    looking_ = tasks_.spawn(look());
}

asio::awaitable<void> MemoryPage::look() {
    const auto state = co_await services_.knowledge.state();
    showSentence(*knowledge_, lastTime(services_.calendar, *state), knowledge_->width());
}

void MemoryPage::cancel() {
    isCancelled_ = true;
    services_.reviewer.cancel();
    services_.knowledge.cancel();
}

/// As a night does: the knowledge base follows, whatever became of the review.
asio::awaitable<void> MemoryPage::run() {
    isAsked_ = true;
    isCancelled_ = false;
    showState();
    const auto reviewed = co_await services_.reviewer.run();
    KnowledgeKeeper::Distilled distilled;
    if (!isCancelled_)
        distilled = co_await services_.knowledge.run();
    isAsked_ = false;
    showState();
    if (isCancelled_)
        messages().showInfo(
            label("The night's work was cancelled. What was answered until then is kept."));
    else if (!reviewed)
        messages().showError(label(reviewed.error()));
    else if (!distilled)
        messages().showError(label(distilled.error()));
    else
        messages().showInfo(label("The night's work is done."));
}

}  // namespace quillet
