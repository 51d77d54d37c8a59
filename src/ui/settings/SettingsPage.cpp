#include "ui/settings/SettingsPage.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSignalBlocker>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "ui/kit/UiText.h"
#include "ui/settings/TextSetting.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr double noteSize = 0.92;
constexpr int wholeStretch = 1'000;  // against the stretch of 1 at the end
constexpr int noteGap = 1;

json valueOf(const QuilletSettings& record, std::string_view setting) {
    const auto* descriptor = findSetting(setting);
    return descriptor == nullptr ? json() : descriptor->get(record);
}

/// Once a sentence has made room for itself, it does so at any width.
class Note : public QLabel {
public:
    using QLabel::QLabel;

protected:
    void resizeEvent(QResizeEvent* event) override {
        QLabel::resizeEvent(event);
        if (minimumHeight() > 0)
            setMinimumHeight(std::max(0, heightForWidth(width())));
    }
};

}  // namespace

QLabel* newNote(const QString& text) {
    auto* note = new Note(text);
    note->setWordWrap(true);
    auto policy = note->sizePolicy();
    policy.setHorizontalPolicy(QSizePolicy::Expanding);
    note->setSizePolicy(policy);
    auto font = note->font();
    font.setPointSizeF(font.pointSizeF() * noteSize);
    note->setFont(font);
    return note;
}

void showSentence(QLabel& shown, const QString& sentence, int width) {
    shown.setText(sentence);
    shown.setMinimumHeight(std::max(0, shown.heightForWidth(width)));
}

QString withoutMnemonic(QString text) {
    static const QRegularExpression marks(QStringLiteral("\\(&.\\)|&|[:：]\\s*$"));
    return text.remove(marks);
}

SettingsPage::SettingsPage(Binding binding) : binding_(binding) {
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    auto* content = new QWidget;
    column_ = new QVBoxLayout(content);
    column_->setSpacing(2 * column_->spacing());
    column_->addStretch(1);
    setWidget(content);
    on(settingsChangedNotification, [this] {
        for (const auto& show : followers_)
            show();
    });
}

QVBoxLayout* SettingsPage::addBox(const QString& title) {
    auto* box = new QWidget;
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins({});
    auto* headline = new QLabel(title);
    auto font = headline->font();
    font.setBold(true);
    headline->setFont(font);
    column->addWidget(headline);
    box->setAccessibleName(title);
    column_->insertWidget(column_->count() - 1, box);
    return column;
}

QFormLayout* SettingsPage::addSection(const QString& title) {
    auto* column = addBox(title);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->setContentsMargins(style()->pixelMetric(QStyle::PM_LayoutLeftMargin), 0, 0, 0);
    column->addLayout(form);
    return form;
}

void SettingsPage::addBelow(QFormLayout& form, QWidget& widget) {
    widget.setContentsMargins(form.contentsMargins());
    form.parentWidget()->layout()->addWidget(&widget);
}

QVBoxLayout* SettingsPage::addColumn(const QString& title, Height height) {
    auto* column = addBox(title);
    if (height == Height::whatThereIs)
        column_->setStretchFactor(column->parentWidget(), wholeStretch);
    return column;
}

QLabel* SettingsPage::addNote(QFormLayout& form, const QString& text) {
    auto* note = newNote(text);
    form.addRow(note);
    return note;
}

QLabel* SettingsPage::addExplained(QFormLayout& form, QAbstractButton& button,
                                   const QString& description) {
    auto* column = new QVBoxLayout;
    column->setSpacing(noteGap);
    column->addWidget(&button);
    form.addRow(column);
    if (description.isEmpty())
        return nullptr;
    auto* note = newNote(description);
    note->setIndent(style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                    style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing));
    button.setAccessibleDescription(description);
    column->addWidget(note);
    return note;
}

QCheckBox* SettingsPage::addSwitch(QFormLayout& form, std::string_view setting, const QString& text,
                                   const QString& description) {
    auto* box = new QCheckBox(text);
    addExplained(form, *box, description);
    connect(box, &QCheckBox::toggled, this, [this, setting](bool isOn) { save(setting, isOn); });
    follow([this, setting, box] {
        const QSignalBlocker quiet(box);
        box->setChecked(valueOf(record(), setting) == true);
    });
    return box;
}

TextSetting* SettingsPage::addText(QFormLayout& form, const Text& text) {
    const auto setting = text.setting;
    auto write = [this, setting, refusal = text.refusal](const QString& typed) {
        return save(setting, toText(typed)) ? std::nullopt : std::optional(refusal);
    };
    auto* field = new TextSetting(withoutMnemonic(text.name), text.placeholder, std::move(write));
    form.addRow(text.name, field);
    whenLeft([field] { field->commit(); });
    follow([this, setting, field] {
        const auto stored = valueOf(record(), setting);
        field->present(stored.is_string() ? fromText(stored.get<std::string>()) : QString());
    });
    return field;
}

QComboBox* SettingsPage::addChoice(QFormLayout& form, std::string_view setting, const QString& name,
                                   const std::vector<Choice>& choices) {
    auto* box = new QComboBox;
    box->setAccessibleName(withoutMnemonic(name));
    for (const auto& choice : choices)
        box->addItem(choice.text, fromText(choice.value));
    form.addRow(name, box);
    connect(box, &QComboBox::activated, this,
            [this, setting, box] { save(setting, toText(box->currentData().toString())); });
    follow([this, setting, box] {
        const auto stored = valueOf(record(), setting);
        const auto value = stored.is_string() ? fromText(stored.get<std::string>()) : QString();
        if (box->findData(value) < 0)
            box->addItem(value, value);
        box->setCurrentIndex(box->findData(value));
    });
    return box;
}

void SettingsPage::follow(std::function<void()> show) {
    show();
    followers_.push_back(std::move(show));
}

void SettingsPage::on(std::string_view notification, std::function<void()> handler) {
    subscriptions_.push_back(
        binding_.notifications.subscribe(std::string(notification), std::move(handler)));
}

bool SettingsPage::save(std::string_view setting, const json& value) {
    auto edited = record();
    if (!applySetting(edited, setting, value))
        return false;
    if (edited != record())
        change([&edited](QuilletSettings& all) { all = std::move(edited); });
    return true;
}

bool SettingsPage::change(const std::function<void(QuilletSettings&)>& edit) {
    const bool isSaved = binding_.settings.change(edit);
    if (!isSaved)
        messages().showError(
            label("The setting could not be saved: the settings file cannot be written. Check that "
                  "the disk is not full and that the file belongs to you."));
    return isSaved;
}

/// Also what was typed before the window is closed counts.
void SettingsPage::hideEvent(QHideEvent* event) {
    for (const auto& commit : unsaved_)
        commit();
    QScrollArea::hideEvent(event);
}

}  // namespace quillet
