#include "ui/consent/ConsentPrompt.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "settings/AppSettings.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

/// The window comes while the user may be typing: what he types must not answer it.
constexpr int startledMs = 700;
constexpr int readableWidth = 460;

QLabel* paragraph(const QString& text) {
    auto* shown = new QLabel(text);
    shown->setWordWrap(true);
    shown->setAlignment(Qt::AlignLeading | Qt::AlignTop);
    shown->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return shown;
}

void addRow(QFormLayout& form, const QString& name, const QString& text) {
    auto* value = paragraph(text);
    auto* heading = new QLabel(name);
    auto font = heading->font();
    font.setBold(true);
    heading->setFont(font);
    heading->setAlignment(Qt::AlignLeading | Qt::AlignTop);
    value->setAccessibleName(name + QLatin1Char(' ') + text);
    form.addRow(heading, value);
}

QDialog* dialogFor(const ServiceID& service) {
    auto* dialog = new QDialog;
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(label("Allow this service?"));
    const auto about = descriptionOf(service.purpose);
    const auto sentence =
        label("Quillet is about to send something to {} for the first time.", service.host);
    auto* title = paragraph(sentence);
    auto font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.15);
    title->setFont(font);

    auto* form = new QFormLayout;
    form->setLabelAlignment(Qt::AlignLeading | Qt::AlignTop);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    addRow(*form, label("What for"), label(about.title));
    addRow(*form, label("What is sent"), label(about.whatIsSent));
    addRow(*form, label("Where to"), fromText(service.host));
    addRow(*form, label("Why"), label(about.why));

    auto* buttons = new QDialogButtonBox;
    auto* allow = buttons->addButton(label("&Allow"), QDialogButtonBox::AcceptRole);
    auto* deny = buttons->addButton(label("&Don't Allow"), QDialogButtonBox::RejectRole);
    for (auto* button : {allow, deny}) {
        button->setAutoDefault(false);
        button->setEnabled(false);
        QTimer::singleShot(startledMs, button, [button] { button->setEnabled(true); });
    }

    auto* column = new QVBoxLayout(dialog);
    column->addWidget(title);
    column->addLayout(form);
    column->addWidget(paragraph(
        label("Nothing is sent before you allow it. You can change this at any time in "
              "Settings → Privacy. What is recognised on this device needs no permission.")));
    column->addWidget(buttons);
    // Of texts that wrap, a layout says only with a width how high they are.
    dialog->setMinimumSize(readableWidth, column->totalHeightForWidth(readableWidth));
    dialog->resize(dialog->minimumSize());
    return dialog;
}

}  // namespace

struct ConsentPrompt::Open {
    QPointer<QDialog> dialog;
    ConsentDecision answer = ConsentDecision::notAsked;
    Event answered;
};

ConsentPrompt::ConsentPrompt(Consent& consent, NotificationCenter& notifications)
    : consent_(consent),
      consentChanged_(notifications.subscribe(std::string(consentChangedNotification),
                                              [this] { decidedElsewhere(); })),
      // Another process stores what it decided beside the settings.
      settingsChanged_(notifications.subscribe(std::string(settingsChangedNotification),
                                               [this] { decidedElsewhere(); })) {
    consent_.askBy([this](ServiceID service) { return ask(std::move(service)); });
}

ConsentPrompt::~ConsentPrompt() {
    consent_.askBy(nullptr);
}

asio::awaitable<ConsentDecision> ConsentPrompt::ask(ServiceID service) {
    const auto open = std::make_shared<Open>();
    auto* dialog = dialogFor(service);
    open->dialog = dialog;
    auto* buttons = dialog->findChild<QDialogButtonBox*>();
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, [open, dialog] {
        open->answer = ConsentDecision::allowed;
        dialog->close();
    });
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, [open, dialog] {
        open->answer = ConsentDecision::denied;
        dialog->close();
    });
    QObject::connect(dialog, &QDialog::finished, dialog, [open] { open->answered.set(); });
    struct Shown {
        ConsentPrompt& prompt;
        const ServiceID& service;
        ~Shown() {
            if (const auto found = prompt.open_.extract(service))
                delete found.mapped()->dialog.data();
        }
    };
    open_.insert_or_assign(service, open);
    const Shown shown{*this, service};
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
    co_await open->answered.wait();
    co_return open->answer;
}

void ConsentPrompt::decidedElsewhere() {
    for (const auto& [service, open] : open_) {
        const auto decision = consent_.decision(service);
        if (decision == ConsentDecision::notAsked || open->answered.isSet())
            continue;
        open->answer = decision;
        open->answered.set();
    }
}

}  // namespace quillet
