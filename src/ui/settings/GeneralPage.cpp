#include "ui/settings/GeneralPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>

#include "ui/kit/UiText.h"
#include "ui/settings/KeyNames.h"
#include "ui/settings/TextSetting.h"

namespace quillet {

namespace {

struct Chord {
    std::string_view keys;
    std::string_view meaning;
};
constexpr Chord chords[] = {
    {"Fn+Ctrl", toTranslate("Dictate; press again to finish, or hold while you speak")},
    {"Fn+Ctrl+Shift", toTranslate("Spoken command, on the selection where there is one")},
    {"Fn+Ctrl+Alt", toTranslate("Dictate and translate")},
    {"Fn+Ctrl+Super", toTranslate("Live writing: it is written whenever you pause")},
    {"Fn+Ctrl+Shift+Alt", toTranslate("Change the last dictation")},
    {"Ctrl+Alt+Space", toTranslate("Dictate, on keyboards without Fn")},
    {"Ctrl+Alt+V", toTranslate("Paste the last result again")},
    {"Esc", toTranslate("Cancel the dictation, or keep a message from being sent")},
};

}  // namespace

GeneralPage::GeneralPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(std::move(services)) {
    addProgram();
    addRecording();
    addKeys();
}

void GeneralPage::addProgram() {
    auto* form = addSection(label("Quillet"));
    if (findSetting("language") != nullptr) {
        addChoice(*form, "language", label("&Language of the windows:"),
                  {{label("The desktop's language"), ""},
                   {QStringLiteral("English"), "en"},
                   {QStringLiteral("简体中文"), "zh_CN"}});
    }
    if (services_.startsAtLogin && services_.setStartsAtLogin)
        addStartAtLogin(*form);
    form->parentWidget()->setVisible(form->rowCount() > 0);
}

void GeneralPage::addStartAtLogin(QFormLayout& form) {
    auto* box = new QCheckBox(label("Start when I log &in"));
    box->setChecked(services_.startsAtLogin());
    form.addRow(box);
    connect(box, &QCheckBox::toggled, this, [this, box](bool isOn) {
        const auto done = services_.setStartsAtLogin(isOn);
        if (done)
            return;
        messages().showError(label(done.error()));
        const QSignalBlocker quiet(box);
        box->setChecked(services_.startsAtLogin());
    });
}

void GeneralPage::addRecording() {
    auto* form = addSection(label("While You Speak"));
    addSwitch(*form, "showsTextWhileSpeaking", label("Show the &words while they are spoken"),
              label("Needs a recognition model on this device; the words are only shown, not "
                    "written."));
    addSwitch(*form, "muteSystemAudioWhileRecording", label("&Mute system audio while recording"),
              label("Not while another application uses the microphone, such as a call."));
}

void GeneralPage::addKeys() {
    auto* form = addSection(label("Keys"));
    addChords(*form);
    auto* field = new TextSetting(label("Keys that stand for Fn"),
                                  QStringLiteral("XF86WakeUp, XF86Fn, Control_R, Menu"),
                                  [this](const QString& typed) -> std::optional<QString> {
                                      change([&typed](QuilletSettings& all) {
                                          all.functionKeys = keyNamesIn(toText(typed));
                                      });
                                      return std::nullopt;
                                  });
    form->addRow(label("Keys that stand for &Fn:"), field);
    whenLeft([field] { field->commit(); });
    addNote(*form,
            label("Names as `xev` prints them, with commas between them. Empty means the keys "
                  "that are shown."));
    auto* conflicts = addNote(*form, {});
    auto font = conflicts->font();
    font.setBold(true);
    conflicts->setFont(font);
    const auto showConflicts = [this, conflicts] {
        QStringList sentences;
        for (const auto& sentence : services_.hotkeys.conflicts())
            sentences << label(sentence);
        conflicts->setText(sentences.join(QLatin1Char('\n')));
        conflicts->setVisible(!sentences.isEmpty());
    };
    follow([this, field, showConflicts] {
        field->present(fromText(joinedKeyNames(record().functionKeys)));
        showConflicts();
    });
    on(stateChangedNotification, showConflicts);
}

void GeneralPage::addChords(QFormLayout& form) {
    auto* table = new QGridLayout;
    table->setColumnStretch(1, 1);
    int row = 0;
    for (const auto& chord : chords) {
        auto* keys = new QLabel(fromText(chord.keys));
        auto* meaning = new QLabel(label(chord.meaning));
        meaning->setWordWrap(true);
        table->addWidget(keys, row, 0, Qt::AlignTop);
        table->addWidget(meaning, row, 1);
        ++row;
    }
    table->setHorizontalSpacing(2 * fontMetrics().averageCharWidth());
    form.addRow(table);
}

}  // namespace quillet
