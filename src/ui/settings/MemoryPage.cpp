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

QString lastTime(const Calendar& calendar, const std::optional<Calendar::UnixTime>& time,
                 const std::optional<std::string>& report) {
    if (!time && !report)
        return label("Not yet.");
    auto text = report ? label(*report) : QString();
    return time ? dayAndTimeText(*time, calendar) + QStringLiteral(" — ") + text : text;
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
    for (auto* button : {run_, review, knowledge})
        row->addWidget(button);
    row->addStretch();
    form->addRow(row);
    progress_ = new QProgressBar;
    progress_->setRange(0, 0);
    progress_->setAccessibleName(label("The night's work is being done"));
    form->addRow(progress_);
    connect(run_, &QPushButton::clicked, this, [this] { tasks_.spawn(run()); });
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
    run_->setEnabled(!isRunning() && record().rememberWhatISay);
    progress_->setVisible(isRunning());
    const auto& state = services_.reviewer.state();
    review_->setText(lastTime(services_.calendar, state.lastRun, state.report));
    looking_.cancel();
    looking_ = tasks_.spawn(look());
}

asio::awaitable<void> MemoryPage::look() {
    const auto state = co_await services_.knowledge.state();
    knowledge_->setText(lastTime(services_.calendar, state->lastRun, state->report));
}

/// As a night does: the knowledge base follows, whatever became of the review.
asio::awaitable<void> MemoryPage::run() {
    isAsked_ = true;
    showState();
    const auto reviewed = co_await services_.reviewer.run();
    const auto distilled = co_await services_.knowledge.run();
    isAsked_ = false;
    showState();
    if (!reviewed)
        messages().showError(label(reviewed.error()));
    else if (!distilled)
        messages().showError(label(distilled.error()));
    else
        messages().showInfo(label("The night's work is done."));
}

}  // namespace quillet
