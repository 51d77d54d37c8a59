#include "ui/settings/MeetingsPage.h"

#include <QDesktopServices>
#include <QDir>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QUrl>

#include "base/http/Url.h"
#include "meetings/MeetingMessages.h"
#include "speech/SpeechServer.h"
#include "ui/kit/UiText.h"

namespace quillet {

MeetingsPage::MeetingsPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(std::move(services)) {
    addNeeds();
    addNotes();
}

void MeetingsPage::addNeeds() {
    auto* form = addSection(label("What a Meeting Needs"));
    addNote(*form, label("The microphone and what the loudspeakers play are recorded, so that both "
                         "sides of a call are written down."));
    auto* speech = newNote({});
    auto* model = newNote({});
    form->addRow(label("Speech:"), speech);
    form->addRow(label("Notes:"), model);
    addNote(*form, label(meeting_messages::consent));
    follow([this, speech, model] {
        speech->setText(speechSentence());
        model->setText(modelSentence());
    });
}

QString MeetingsPage::speechSentence() {
    if (const auto server = speechServer(record()); !server.empty())
        return label("Recognised by {}.", hostOf(server));
    if (record().sttEngineType == STTEngineType::cloud)
        return label("No speech server is set up. Set one up in Recognition.");
    const auto supported = services_.onDevice.supports(record().languageCode().value_or("mixed"));
    return supported ? label("Recognised on this device.")
                     : label("{}. Install a model in Recognition, or choose a server there.",
                             translated(explanation(supported.error())));
}

QString MeetingsPage::modelSentence() const {
    if (!services_.llm.isConfigured())
        return label(
            "Without the language model a note holds what was said, and no summary. Set it "
            "up in Writing.");
    return record().llmModel.empty() ? label("Written by the language model.")
                                     : label("Written by {}.", record().llmModel);
}

void MeetingsPage::addNotes() {
    auto* form = addSection(label("Meeting Notes"));
    auto* folder = newNote(fromText(services_.notes.string()));
    folder->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    form->addRow(label("Folder:"), folder);
    auto* open = new QPushButton(label("Open &Folder"));
    auto* window = new QPushButton(label("Open &Meetings"));
    auto* row = new QHBoxLayout;
    row->addWidget(open);
    row->addWidget(window);
    row->addStretch();
    form->addRow(row);
    connect(open, &QPushButton::clicked, this, [this] {
        const auto path = fromText(services_.notes.string());
        if (!QDir().mkpath(path) || !QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
            messages().showError(label("The folder cannot be opened."));
    });
    connect(window, &QPushButton::clicked, this, [this] { services_.open(WindowKind::meetings); });
}

}  // namespace quillet
