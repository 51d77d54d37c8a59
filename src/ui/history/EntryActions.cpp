#include "ui/history/EntryActions.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QPushButton>
#include <QShortcut>

#include "ui/history/EntryList.h"
#include "ui/history/StepAside.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/UiText.h"

namespace quillet {

EntryActions::EntryActions(Services services, EntryList& list, MessageBar& messages)
    : services_(std::move(services)),
      list_(list),
      messages_(messages),
      play_(new QPushButton(label("&Play"))),
      copy_(new QPushButton(label("&Copy"))),
      typeAgain_(new QPushButton(label("&Type Again"))),
      delete_(new QPushButton(label("&Delete"))),
      recordings_({services_.loop, services_.archive, services_.player},
                  {[this] { update(); }, [](auto, auto) {},
                   [this](const QString& sentence) { messages_.showError(sentence); }}) {
    layOut();
    connectButtons();
}

void EntryActions::layOut() {
    play_->setToolTip(label("Plays the recording that was kept of this dictation"));
    typeAgain_->setToolTip(label("Types the text into the window behind this one"));
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(play_);
    row->addStretch(1);
    for (auto* button : {copy_, typeAgain_, delete_})
        row->addWidget(button);
    for (auto* button : {play_, copy_, typeAgain_, delete_})
        button->setAutoDefault(false);
    typeAgain_->setVisible(static_cast<bool>(services_.typeAgain));
}

void EntryActions::connectButtons() {
    const auto onKey = [this](const QKeySequence& keys, QPushButton* button) {
        auto* shortcut = new QShortcut(keys, &list_);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, button, &QPushButton::click);
    };
    onKey(QKeySequence::Delete, delete_);
    onKey(QKeySequence::Copy, copy_);
    onKey(Qt::Key_Space, play_);
    connect(copy_, &QPushButton::clicked, this, [this] { copy(); });
    connect(typeAgain_, &QPushButton::clicked, this, [this] { typeAgain(); });
    connect(play_, &QPushButton::clicked, this, [this] { playOrStop(); });
    connect(delete_, &QPushButton::clicked, this, [this] { wantsDeleted(); });
}

void EntryActions::update() {
    const auto* entry = list_.current();
    const bool isPlaying = recordings_.playing().has_value();
    const bool isRecorded = entry != nullptr && services_.archive.item(entry->id).has_value();
    play_->setText(isPlaying ? label("S&top") : label("&Play"));
    play_->setEnabled(isPlaying || isRecorded);
    copy_->setEnabled(entry != nullptr);
    typeAgain_->setEnabled(entry != nullptr && !entry->finalText.empty());
    delete_->setEnabled(entry != nullptr);
}

void EntryActions::copy() {
    QStringList texts;
    for (const auto& id : list_.selectedIds()) {
        const auto* entry = list_.entries().entryAt(list_.entries().indexOf(id));
        texts << fromText(entry->finalText.empty() ? entry->rawText : entry->finalText);
    }
    QApplication::clipboard()->setText(texts.join(QLatin1Char('\n')));
    messages_.showInfo(label("Copied."));
}

void EntryActions::typeAgain() {
    stepAside(*window(), messages_,
              [type = services_.typeAgain, text = list_.current()->finalText] { type(text); });
}

void EntryActions::playOrStop() {
    if (recordings_.playing())
        recordings_.stop();
    else if (const auto* entry = list_.current())
        recordings_.play(entry->id);
}

}  // namespace quillet
