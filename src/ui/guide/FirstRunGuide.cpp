#include "ui/guide/FirstRunGuide.h"

#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "ui/guide/MicrophoneLevel.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr QSize usualSize(720, 560);

QLabel* paragraph(const QString& text) {
    auto* shown = new QLabel(text);
    shown->setWordWrap(true);
    return shown;
}

QVBoxLayout* columnOf(QWidget& page) {
    auto* column = new QVBoxLayout(&page);
    column->setContentsMargins(0, 0, 0, 0);
    return column;
}

QString troubleOf(AudioInputSink::Ending why) {
    switch (why) {
        case AudioInputSink::Ending::noDevice:
            return label(
                "There is no microphone. Connect one, or choose one in the desktop's sound "
                "settings; then go back and come here again.");
        case AudioInputSink::Ending::noPermission:
            return label(
                "The sound server does not let Quillet use the microphone. Allow it in the "
                "desktop's privacy settings; then go back and come here again.");
        case AudioInputSink::Ending::deviceLost:
            return label("The microphone went away. Connect it again.");
        case AudioInputSink::Ending::serverLost:
            return label(
                "There is no sound server, or it does not answer. Quillet needs PulseAudio or "
                "PipeWire to hear you.");
    }
    return {};
}

struct KeyLine {
    std::string_view keys;
    std::string_view what;
};
constexpr KeyLine keyLines[] = {
    {toTranslate("Fn+Ctrl, or Ctrl+Alt+Space"), toTranslate("Dictate: tap to start, tap again to "
                                                            "finish")},
    {toTranslate("Fn+Ctrl+Shift"), toTranslate("Spoken command, also on what is selected")},
    {toTranslate("Fn+Ctrl+Alt"), toTranslate("Translate")},
    {toTranslate("Fn+Ctrl+Super"), toTranslate("Live writing: each pause is written down")},
    {toTranslate("Fn+Ctrl+Shift+Alt"), toTranslate("Change the last dictation")},
    {toTranslate("Ctrl+Alt+V"), toTranslate("Paste the last result again")},
    {toTranslate("Esc"), toTranslate("Cancel")},
};

}  // namespace

FirstRunGuide::FirstRunGuide(Services services)
    : services_(std::move(services)),
      title_(new QLabel),
      progress_(new QLabel),
      messages_(new MessageBar),
      pages_(new QStackedWidget),
      back_(new QPushButton(label("&Back"))),
      next_(new QPushButton),
      tasks_(services_.loop) {
    setWindowTitle(label("Welcome to Quillet"));
    resize(usualSize);
    auto font = title_->font();
    font.setPointSizeF(font.pointSizeF() * 1.5);
    title_->setFont(font);
    title_->setWordWrap(true);

    addPage(label("Speak, and it is written"), welcomePage());
    addPage(label("Your microphone"), microphonePage());
    addPage(label("Who writes down what you say"), recognitionPage());
    addPage(label("The keys"), keysPage());
    addPage(label("Try it"), tryItPage());

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(progress_);
    buttons->addStretch();
    buttons->addWidget(back_);
    buttons->addWidget(next_);
    auto* column = new QVBoxLayout(this);
    column->setSpacing(2 * column->spacing());
    column->addWidget(messages_);
    column->addWidget(title_);
    column->addWidget(pages_, 1);
    column->addLayout(buttons);
    connect(back_, &QPushButton::clicked, this, [this] { showPage(pages_->currentIndex() - 1); });
    connect(next_, &QPushButton::clicked, this, [this] { showPage(pages_->currentIndex() + 1); });
    next_->setDefault(true);

    stateChanged_ = services_.notifications.subscribe(std::string(stateChangedNotification),
                                                      [this] { refreshTryIt(); });
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { refreshTryIt(); });
    showPage(0);
}

/// Pages say what became of what they do.
FirstRunGuide::~FirstRunGuide() {
    delete pages_;
}

/// Who has put it away need not see it at every start; the menu brings it back. Who logs out
/// meanwhile has not.
void FirstRunGuide::closeEvent(QCloseEvent* event) {
    services_.settings.note(guideSeenFlag);
    QWidget::closeEvent(event);
}

void FirstRunGuide::addPage(const QString& title, QWidget* content) {
    titles_.append(title);
    pages_->addWidget(content);
}

void FirstRunGuide::showPage(int index) {
    messages_->clear();
    if (index == pages_->count()) {
        close();
        return;
    }
    pages_->setCurrentIndex(index);
    title_->setText(titles_[index]);
    progress_->setText(label("Step {} of {}", index + 1, pages_->count()));
    back_->setVisible(index > 0);
    next_->setText(index + 1 < pages_->count() ? label("&Next") : label("&Done"));
    refreshTryIt();
    auto* field = pages_->currentWidget()->findChild<QPlainTextEdit*>();
    if (field != nullptr)
        field->setFocus();
    else
        next_->setFocus();
}

QWidget* FirstRunGuide::welcomePage() {
    auto* page = new QWidget;
    auto* column = columnOf(*page);
    column->addWidget(paragraph(
        label("Press two keys, speak, press them again: the words stand where you type, in any "
              "application. Speak English or Chinese, or, with a server, both in one sentence.")));
    column->addWidget(paragraph(
        label("What you say stays on this device unless you choose a server, and then you are "
              "asked before anything is sent. The history is kept here only, and you can switch "
              "it off.")));
    column->addWidget(paragraph(
        label("The next steps look at your microphone, choose who writes down what you say, and "
              "show the keys. It takes two minutes.")));
    column->addStretch();
    return page;
}

QWidget* FirstRunGuide::microphonePage() {
    auto* page = new QWidget;
    auto* column = columnOf(*page);
    auto* name = paragraph({});
    auto* level = new MicrophoneLevel(services_.loop, services_.audioInput);
    auto* verdict = paragraph(label("Say something: the bar moves while you speak."));
    level->onHeard([verdict] { verdict->setText(label("Quillet hears you. Go on.")); });
    level->onFailed([verdict](AudioInputSink::Ending why) { verdict->setText(troubleOf(why)); });
    column->addWidget(name);
    column->addWidget(level);
    column->addWidget(verdict);
    column->addWidget(paragraph(
        label("If the bar stays still, choose another input in the desktop's sound settings. "
              "Quillet listens here only while this page is open, and keeps nothing of it.")));
    column->addStretch();
    tasks_.spawn(nameMicrophone(*name));
    return page;
}

asio::awaitable<void> FirstRunGuide::nameMicrophone(QLabel& line) {
    const auto devices = co_await services_.audioInput.devices();
    if (!devices.empty())
        line.setText(label("Microphone: {}", devices.front()));
    line.setVisible(!devices.empty());
}

QWidget* FirstRunGuide::recognitionPage() {
    return services_.makeRecognitionStep(*messages_);
}

QWidget* FirstRunGuide::keysPage() {
    auto* page = new QWidget;
    auto* column = columnOf(*page);
    if (!services_.hasGlobalKeys)
        column->addWidget(paragraph(
            label("This desktop shows no application its keys. Bind the command \"quillet "
                  "toggle\" to a key in the desktop's keyboard settings; until then the menu "
                  "starts a dictation.")));
    else
        column->addWidget(paragraph(
            label("Fn is the right Ctrl key, the Menu key, or Fn where the keyboard reports it. "
                  "Settings → General names other keys.")));
    auto* form = new QFormLayout;
    for (const auto& line : keyLines) {
        auto* keys = new QLabel(label(line.keys));
        auto font = keys->font();
        font.setBold(true);
        keys->setFont(font);
        form->addRow(keys, paragraph(label(line.what)));
    }
    column->addLayout(form);
    for (const auto& conflict : services_.hotkeys.conflicts())
        column->addWidget(paragraph(label(conflict)));
    column->addStretch();
    return page;
}

QWidget* FirstRunGuide::tryItPage() {
    auto* page = new QWidget;
    auto* column = columnOf(*page);
    state_ = paragraph({});
    auto* field = new QPlainTextEdit;
    field->setPlaceholderText(label("Your words will stand here."));
    field->setAccessibleName(label("A field to try dictation in"));
    field->setTabChangesFocus(true);
    record_ = new QPushButton;
    record_->setFocusPolicy(Qt::NoFocus);  // the words go where the focus is
    connect(record_, &QPushButton::clicked, this, [this] {
        if (services_.session.state() == RecognitionState::recording)
            services_.session.stop();
        else
            services_.session.start(HotkeyMode::dictate);
    });
    column->addWidget(state_);
    column->addWidget(field, 1);
    column->addWidget(record_, 0, Qt::AlignLeft);
    column->addWidget(paragraph(
        label("Quillet waits in the notification area, and its menu comes up when you start it "
              "again. History, Settings and this guide are there.")));
    return page;
}

void FirstRunGuide::refreshTryIt() {
    if (state_ == nullptr)
        return;
    const auto state = services_.session.state();
    const bool isReady = services_.isReady();
    record_->setEnabled(isReady && state != RecognitionState::refining);
    record_->setText(state == RecognitionState::recording ? label("Finish") : label("Dictate"));
    if (state == RecognitionState::recording)
        state_->setText(
            label("Speak now. Tap the keys again, or press Finish, when you are done."));
    else if (state == RecognitionState::refining)
        state_->setText(label("Writing…"));
    else if (!isReady)
        state_->setText(
            label("Nothing can write down what you say yet. Go back and choose a model or a "
                  "server."));
    else if (services_.hasGlobalKeys)
        state_->setText(
            label("Click into the field, tap Fn+Ctrl or Ctrl+Alt+Space, say a sentence, and tap "
                  "again."));
    else
        state_->setText(label("Press Dictate, say a sentence, and press Finish."));
}

}  // namespace quillet
